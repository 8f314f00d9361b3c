#pragma once
// Reading back what the sheet and workbook settings operations wrote: a part of a saved package
// as text (through unzip, independent of the engine) and LibreOffice's view of the protection.

#include <cstdio>
#include <string>

#include "book_helpers.h"

namespace sheaflow::test {

inline std::string command_output(const std::string& cmd) {
    std::string out;
    if (FILE* p = ::popen(cmd.c_str(), "r")) {
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
        ::pclose(p);
    }
    return out;
}

// The text of one part of a package, "" when it is missing.
inline std::string part_text(const std::filesystem::path& file, const std::string& part) {
    std::string pattern;  // unzip reads the name as a wildcard pattern
    for (char c : part) {
        if (c == '[' || c == ']' || c == '*' || c == '?') pattern += '\\';
        pattern += c;
    }
    return command_output("unzip -p '" + file.string() + "' '" + pattern + "' 2>/dev/null");
}

// lo_protection.py's report on a workbook, opened by LibreOffice with `password` tried.
inline std::string libreoffice_protection(const std::filesystem::path& file,
                                          const std::string& password) {
    return command_output("/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) +
                          "/lo_protection.py' '" + file.string() + "' '" + password +
                          "' 2>/dev/null");
}

}  // namespace sheaflow::test
