#pragma once
// What the information lists tell about the system: the fonts fontconfig knows, the printers
// CUPS knows and their fonts, the folders the program uses and the office suite's version.

#include <string>
#include <string_view>
#include <vector>

namespace sheaflow::sysinfo {

struct FontFace {
    std::string family;  // the first family name
    std::string style;
    std::string file;
    bool scalable = true;
    bool japanese = false;  // covers Japanese (fontconfig's language coverage)
};

// Every face fontconfig knows, sorted by family, then style.
std::vector<FontFace> font_faces();
// The face fontconfig chooses for a pattern ("sans-serif:lang=ja"); empty family when none.
FontFace match_font(std::string_view pattern);

struct Printer {
    std::string name;
    bool is_default = false;
    std::string info;        // the description the administrator gave
    std::string location;
    std::string make_model;  // "printer-make-and-model"
    // The fonts the printer holds (its PPD's *Font lines); empty when it has none of its own
    // and prints with the system's fonts.
    std::vector<std::string> fonts;
};

// The printers and classes CUPS knows; an empty list when there are none or CUPS is not running.
std::vector<Printer> printers();

// The folder of the running program.
std::string program_folder();
// A folder of the XDG user-dirs ("DESKTOP", "DOCUMENTS"), or `fallback` below the home folder.
std::string user_dir(std::string_view key, std::string_view fallback);
std::string home_folder();
std::string temp_folder();

// "LibreOffice 7.4.7.2 40(Build:2)" as `soffice --version` prints it; "" when not installed.
std::string office_version();

}  // namespace sheaflow::sysinfo
