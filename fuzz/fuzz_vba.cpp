// Feeds arbitrary bytes to the VBA project reader (compound file, dir stream, module source):
// a project that reads must also write and read again with the same modules, give its forms'
// files, and serve as the model of a new project that writes and reads again. Seeds: the
// vbaProject.bin parts of the corpus's macro workbooks; the decompressor is fed directly too.

#include <cstddef>
#include <cstdint>
#include <string>

#include "xl/native/vba_compression.h"
#include "xl/native/vba_project.h"

using namespace sheaflow::xl::native;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    (void)vba::decompress(bytes, 1 << 20);
    auto project = vba::Project::parse(bytes, "vbaProject.bin");
    if (!project) return 0;
    std::size_t count = project->modules().size();
    // A form's files are made from its designer, and a project made after this one as model
    // writes and reads again.
    for (const vba::Module& m : project->modules())
        if (m.type == 3) (void)project->form_files(m, "form.frx");
    vba::Project made = vba::Project::create(&*project);
    if (auto doc = made.add_document("ThisWorkbook", vba::kWorkbookBase)) {
        auto bytes = made.serialize();
        if (!bytes || !vba::Project::parse(*bytes, "made")) __builtin_trap();
    }
    for (vba::Module& m : project->modules()) {
        m.code.push_back("' fuzz");
        m.changed = true;
    }
    auto written = project->serialize();
    if (!written) return 0;
    auto again = vba::Project::parse(*written, "again");
    if (!again || again->modules().size() != count) __builtin_trap();
    return 0;
}
