#pragma once
// The VBA project of a macro-enabled workbook (the compound file vbaProject.bin): the dir stream's
// records, the PROJECT and PROJECTwm streams and the module source. A project is read whole,
// edited as values and written back so that the application compiles it again from source: the
// performance caches go, _VBA_PROJECT takes its version-independent form and a digital signature
// is dropped. A project with anything the reader does not know is refused, never half-kept.

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"
#include "xl/native/compound_file.h"

namespace sheaflow::xl::native::vba {

// One record of the dir stream: its id and its data as stored.
struct Record {
    std::uint16_t id = 0;
    std::string data;
};

struct Module {
    std::string name;         // UTF-8
    std::string stream_name;  // UTF-8: the stream in the VBA storage
    int type = 1;             // component Type: 1 standard, 2 class, 3 form, 11 designer, 100 document
    std::vector<Record> records;  // the MODULE records (names and offset are rewritten on save)
    // The source as lines in UTF-8, without line ends: the attribute lines that head it, then
    // the code lines that CodeModule shows.
    std::vector<std::string> attributes;
    std::vector<std::string> code;
    std::string original;  // the decompressed source as read ("" for a new module)
    std::string eol = "\r\n";  // line end of the source as read (some writers use LF)
    bool changed = false;  // source differs from `original`
};

class Project {
public:
    // Reads vbaProject.bin; `display` names it in messages.
    static Result<Project> parse(std::string_view bin, const std::string& display);
    // A project made from nothing, as the editor makes one for a workbook: no modules yet, the
    // references to OLE Automation and the Office library. With a model, its code page, its
    // project information and its references are taken instead.
    static Project create(const Project* model = nullptr);

    // The project written again (only call after a change).
    Result<std::string> serialize() const;

    int code_page() const { return code_page_; }
    std::list<Module>& modules() { return modules_; }
    const std::list<Module>& modules() const { return modules_; }
    // The module of that name, compared without regard to ASCII case; nullptr when none.
    Module* find(std::string_view name);
    // Whether the compound file carries a digital signature.
    bool signed_project() const;
    // The names of the project's references (type libraries, controls, other projects), in order.
    std::vector<std::string> reference_names() const;
    // Adds the references of `other` that this project lacks (by name, ASCII case ignored) after
    // its own: code copied from there may use them.
    void add_references_of(const Project& other);

    // Edits. Names are checked as the editor checks them.
    Result<Module*> add(int type, const std::string& name, std::vector<std::string> attributes,
                        std::vector<std::string> code);
    // The document module of the workbook or of a sheet, with the attributes the editor gives
    // one (`base` is the class of its object: kWorkbookBase, kWorksheetBase, kChartBase).
    Result<Module*> add_document(const std::string& name, std::string_view base);
    // Document modules go only with `document` (their sheet went).
    Result<void> remove(std::string_view name, bool document = false);
    Result<void> rename(std::string_view old_name, const std::string& new_name);

    // Module source text from and to the project's code page.
    std::string decode(std::string_view bytes) const;
    std::string encode(std::string_view utf8) const;
    // The source bytes of a module as they are stored (attribute lines included, CR LF).
    std::string source_bytes(const Module& m) const;
    // The module file of a form as the editor exports it: the designer's properties (its
    // \x03VBFrame text) with an OleObjectBlob line naming `frx_name`, then the source; and the
    // .frx, the rest of the designer's storage as a compound file of its own.
    struct FormFiles {
        std::string frm;
        std::string frx;
    };
    Result<FormFiles> form_files(const Module& m, const std::string& frx_name) const;

private:
    Result<Module*> insert(int type, const std::string& name, std::vector<std::string> attributes,
                           std::vector<std::string> code);

    cfb::Node root_;
    std::vector<Record> head_;  // information and reference records
    std::uint16_t cookie_ = 0xFFFF;
    std::list<Module> modules_;  // pointers stay valid while a module lives
    std::vector<std::string> project_lines_;  // PROJECT stream, MBCS lines without CR LF
    int code_page_ = 1252;
};

inline constexpr std::string_view kWorkbookBase = "0{00020819-0000-0000-C000-000000000046}";
inline constexpr std::string_view kWorksheetBase = "0{00020820-0000-0000-C000-000000000046}";
inline constexpr std::string_view kChartBase = "0{00020821-0000-0000-C000-000000000046}";

// "Name is a valid module name": a letter first, then letters, digits and underscores, at most 31
// characters. The message tells what is wrong ("" when valid).
std::string module_name_problem(const std::string& name);

// Splits text into lines at CR LF, LF or CR; a final line end adds no empty line.
std::vector<std::string> split_lines(std::string_view text);

}  // namespace sheaflow::xl::native::vba
