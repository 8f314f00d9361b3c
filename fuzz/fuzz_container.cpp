// Feeds arbitrary bytes to the readers of what comes before a workbook is opened as a package:
// the compound-file check for encrypted workbooks (an encrypted package or a binary workbook's
// FILEPASS record), and the namespace translation of Strict Open XML parts, which must give back
// the bytes it was given after a translation both ways.

#include <cstddef>
#include <cstdint>
#include <string>

#include "xl/native/compound_file.h"
#include "xl/native/package.h"

using namespace sheaflow::xl::native;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    (void)cfb::encrypted_workbook(bytes);
    // Strict text read in and written out again is what it was, unless it already held both
    // vocabularies.
    const std::string transitional = translate_strict(bytes, true);
    if (transitional == bytes) return 0;
    if (bytes.find("schemas.openxmlformats.org") != std::string::npos) return 0;
    if (translate_strict(transitional, false) != bytes) __builtin_trap();
    return 0;
}
