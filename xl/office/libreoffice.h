#pragma once
// The LibreOffice bridge: one headless LibreOffice per run, reached through a small Python-UNO
// helper process (uno_helper.py) that this class starts on the first request and talks to over a
// socket pair, one request a line. Only this folder knows UNO.
//
// The helper and the office run in a process group of their own and write their output to a
// log file in the run's work folder. The group is killed when the bridge shuts down (run end,
// cancel) and by the helper itself when this program dies; a group left behind by a program
// that was killed before its helper could notice is killed by the next bridge that starts.

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "xl/office_bridge.h"

namespace sheaflow::xl::office {

// What the user reads when LibreOffice is missing.
inline constexpr std::string_view kNotInstalled =
    "LibreOffice がインストールされていないため処理できません（scripts/install-deps --office "
    "で libreoffice-calc-nogui と python3-uno を入れてください）";

class LibreOffice final : public xl::OfficeBridge {
public:
    LibreOffice() = default;
    ~LibreOffice() override { shutdown(); }
    LibreOffice(const LibreOffice&) = delete;
    LibreOffice& operator=(const LibreOffice&) = delete;

    Result<std::string> work_folder() override;
    Result<void> convert(const std::string& from, const std::string& to,
                         std::string_view filter) override;
    Result<std::string> convert_and_keep(const std::string& from, const std::string& to,
                                         std::string_view filter) override;
    Result<void> store_kept(const std::string& handle, const std::vector<OfficeCellEdit>& edits,
                            const std::string& active_sheet, const std::string& to,
                            std::string_view filter) override;
    void close_kept(const std::string& handle) override;
    Result<void> run_macro(const std::string& target, const std::string& macro_book,
                           const std::string& macro, const std::string& result,
                           std::string_view filter, int time_limit_seconds) override;
    Result<void> picture(const std::string& from, const std::string& sheet,
                         const std::string& range, const std::string& to, double scale) override;
    void shutdown() override;
    std::string name() const override { return "LibreOffice"; }

    // One request to the helper; the answer's fields after "ok". A request that outlasts
    // `limit` ends the office (a hung macro, a hung filter) and fails.
    Result<std::vector<std::string>> request(const std::vector<std::string>& fields,
                                             std::chrono::milliseconds limit);
    // The helper's process group (0 when not running); for tests.
    pid_t process_group() const { return pid_; }

private:
    Result<void> start();
    Result<std::string> read_line(std::chrono::steady_clock::time_point deadline);
    void kill_group();
    // Kills the group, closes the socket and removes the work folder.
    void release(bool reaped);

    pid_t pid_ = 0;  // the helper, leader of its group
    int socket_ = -1;
    std::string dir_;       // the run's work folder (profile, log, work files)
    std::string received_;  // bytes read past the last answer
    std::string start_error_;  // why the office could not be started (kept for later files)
    bool not_installed_ = false;
};

// The folder where every running bridge keeps its work folder, named after the program's
// process id, so that a later run can find the groups of runs that were killed.
std::string registry_folder();
// Kills the office groups of runs whose program is gone and removes their work folders.
void reap_orphans();

std::unique_ptr<xl::OfficeBridge> libreoffice_bridge();

}  // namespace sheaflow::xl::office
