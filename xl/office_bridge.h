#pragma once
// What the engine asks of an office program for the work it cannot do itself: reading and
// writing .xls files. xl/office implements it with one LibreOffice per run; the engine holds it
// for the length of a run and works without it (such files then get an error line).

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl {

// Export filters of the office program.
inline constexpr std::string_view kFilterXlsx = "Calc MS Excel 2007 XML";
inline constexpr std::string_view kFilterXls = "MS Excel 97";
inline constexpr std::string_view kFilterXlsm = "Calc MS Excel 2007 VBA XML";

// A value written into one cell of a document the office keeps open.
struct OfficeCellEdit {
    enum class Kind : char { Text, Number, Clear };
    std::string sheet;
    std::int32_t row = 0, col = 0;  // from 1
    Kind kind = Kind::Clear;
    std::string text;
    double number = 0;
};

class OfficeBridge {
public:
    virtual ~OfficeBridge() = default;
    // A folder of the bridge's own for work files; it is removed when the office ends.
    virtual Result<std::string> work_folder() = 0;
    // Loads `from` (read-only, no macro run, no link update) and stores it as `to` through the
    // export filter. The office is started on the first request.
    virtual Result<void> convert(const std::string& from, const std::string& to,
                                 std::string_view filter) = 0;
    // The same, with the loaded document kept open in the office for store_kept; answers its
    // handle. A workbook whose changes are cell values only is written back from it, which
    // spares the office reading the engine's package.
    virtual Result<std::string> convert_and_keep(const std::string& from, const std::string& to,
                                                 std::string_view filter) = 0;
    // Writes `edits` into the kept document, makes `active_sheet` its active sheet and stores it
    // as `to` through the export filter; the document is closed either way. Fails when the
    // office that kept it has ended since.
    virtual Result<void> store_kept(const std::string& handle,
                                    const std::vector<OfficeCellEdit>& edits,
                                    const std::string& active_sheet, const std::string& to,
                                    std::string_view filter) = 0;
    // Closes a kept document without storing it; nothing when its office has ended.
    virtual void close_kept(const std::string& handle) = 0;
    // Opens `macro_book` with its macros enabled and `target`, runs `macro` ("Module.Procedure")
    // with `target` as the active workbook and stores `target` as `result` through the export
    // filter. A macro still running after `time_limit_seconds` is stopped (the office with it).
    virtual Result<void> run_macro(const std::string& target, const std::string& macro_book,
                                   const std::string& macro, const std::string& result,
                                   std::string_view filter, int time_limit_seconds) = 0;
    // Loads `from` and writes the cells `range` ("A1:D8") of its sheet `sheet` as a PNG
    // picture `to`, drawn as they print, `scale` times the screen size (1 = 96 pixels an inch).
    virtual Result<void> picture(const std::string& from, const std::string& sheet,
                                 const std::string& range, const std::string& to,
                                 double scale) = 0;
    // Ends the office (also done by the destructor); a later request starts a new one.
    virtual void shutdown() = 0;
    // The name shown in progress lines ("LibreOffice").
    virtual std::string name() const = 0;
};

}  // namespace sheaflow::xl
