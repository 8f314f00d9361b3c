#include "util/system_info.h"

#include <cups/cups.h>
#include <cups/ppd.h>
#include <fontconfig/fontconfig.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <tuple>

namespace sheaflow::sysinfo {
namespace {

std::string string_of(FcPattern* p, const char* object) {
    FcChar8* v = nullptr;
    if (FcPatternGetString(p, object, 0, &v) != FcResultMatch || !v) return {};
    return reinterpret_cast<const char*>(v);
}

FontFace face_of(FcPattern* p) {
    FontFace f;
    f.family = string_of(p, FC_FAMILY);
    f.style = string_of(p, FC_STYLE);
    f.file = string_of(p, FC_FILE);
    FcBool scalable = FcTrue;
    if (FcPatternGetBool(p, FC_SCALABLE, 0, &scalable) == FcResultMatch) f.scalable = scalable;
    FcLangSet* langs = nullptr;
    if (FcPatternGetLangSet(p, FC_LANG, 0, &langs) == FcResultMatch && langs)
        f.japanese = FcLangSetHasLang(langs, reinterpret_cast<const FcChar8*>("ja")) == FcLangEqual;
    return f;
}

struct PatternFree {
    void operator()(FcPattern* p) const { FcPatternDestroy(p); }
};
struct FontSetFree {
    void operator()(FcFontSet* s) const { FcFontSetDestroy(s); }
};

}  // namespace

std::vector<FontFace> font_faces() {
    std::vector<FontFace> out;
    if (!FcInit()) return out;
    std::unique_ptr<FcPattern, PatternFree> pattern(FcPatternCreate());
    FcObjectSet* objects =
        FcObjectSetBuild(FC_FAMILY, FC_STYLE, FC_FILE, FC_SCALABLE, FC_LANG, nullptr);
    std::unique_ptr<FcFontSet, FontSetFree> set(FcFontList(nullptr, pattern.get(), objects));
    FcObjectSetDestroy(objects);
    if (!set) return out;
    for (int i = 0; i < set->nfont; ++i) out.push_back(face_of(set->fonts[i]));
    std::sort(out.begin(), out.end(), [](const FontFace& a, const FontFace& b) {
        return std::tie(a.family, a.style, a.file) < std::tie(b.family, b.style, b.file);
    });
    return out;
}

FontFace match_font(std::string_view pattern_text) {
    if (!FcInit()) return {};
    std::string text(pattern_text);
    std::unique_ptr<FcPattern, PatternFree> pattern(
        FcNameParse(reinterpret_cast<const FcChar8*>(text.c_str())));
    if (!pattern) return {};
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    FcResult result = FcResultNoMatch;
    std::unique_ptr<FcPattern, PatternFree> match(FcFontMatch(nullptr, pattern.get(), &result));
    if (!match) return {};
    return face_of(match.get());
}

std::vector<Printer> printers() {
    std::vector<Printer> out;
    cups_dest_t* dests = nullptr;
    int n = cupsGetDests2(CUPS_HTTP_DEFAULT, &dests);
    for (int i = 0; i < n; ++i) {
        const cups_dest_t& d = dests[i];
        if (d.instance) continue;  // instances share their printer's fonts
        Printer p;
        p.name = d.name;
        p.is_default = d.is_default;
        if (const char* v = cupsGetOption("printer-info", d.num_options, d.options)) p.info = v;
        if (const char* v = cupsGetOption("printer-location", d.num_options, d.options))
            p.location = v;
        if (const char* v = cupsGetOption("printer-make-and-model", d.num_options, d.options))
            p.make_model = v;
        // The PPD interface is deprecated in CUPS 2 but remains the only place a printer
        // declares resident fonts.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        if (const char* ppd_path = cupsGetPPD(d.name)) {
            if (ppd_file_t* ppd = ppdOpenFile(ppd_path)) {
                for (int k = 0; k < ppd->num_fonts; ++k) p.fonts.push_back(ppd->fonts[k]);
                ppdClose(ppd);
            }
            ::unlink(ppd_path);
        }
#pragma GCC diagnostic pop
        out.push_back(std::move(p));
    }
    cupsFreeDests(n, dests);
    return out;
}

std::string program_folder() {
    std::error_code ec;
    std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    return ec ? std::string() : exe.parent_path().string();
}

std::string home_folder() {
    const char* home = std::getenv("HOME");
    return home ? home : "";
}

std::string temp_folder() {
    const char* tmp = std::getenv("TMPDIR");
    return tmp && *tmp ? tmp : std::filesystem::temp_directory_path().string();
}

std::string user_dir(std::string_view key, std::string_view fallback) {
    const std::string home = home_folder();
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::string file = (config && *config ? std::string(config) : home + "/.config") +
                       "/user-dirs.dirs";
    std::ifstream in(file);
    std::string line, wanted = "XDG_" + std::string(key) + "_DIR=";
    while (std::getline(in, line)) {
        if (line.rfind(wanted, 0) != 0) continue;
        std::string v = line.substr(wanted.size());
        if (v.size() >= 2 && v.front() == '"' && v.back() == '"') v = v.substr(1, v.size() - 2);
        if (v.rfind("$HOME", 0) == 0) v = home + v.substr(5);
        return v;
    }
    return home + "/" + std::string(fallback);
}

std::string office_version() {
    if (std::system("command -v soffice >/dev/null 2>&1") != 0) return "";
    std::string out;
    if (FILE* p = ::popen("soffice --version 2>/dev/null", "r")) {
        char buf[512];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
        ::pclose(p);
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return out;
}

}  // namespace sheaflow::sysinfo
