// The floor of the per-sheet CSV export and of combining: every sheet's XML and the shared
// strings of each book inflated (libzip) and parsed (pugixml), nothing else done. One process
// for all the books, as one run of the program handles them.
//
//   bench_floor BOOK...      prints "books=<n> parts=<parsed parts>"

#include <zip.h>

#include <cstdio>
#include <pugixml.hpp>
#include <string>

namespace {

std::string inflate(zip_t* z, zip_uint64_t index, zip_uint64_t size) {
    std::string out(size, '\0');
    zip_file_t* f = zip_fopen_index(z, index, 0);
    if (!f) return {};
    zip_int64_t got = zip_fread(f, out.data(), out.size());
    zip_fclose(f);
    out.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return out;
}

bool wanted(const std::string& name) {
    return name == "xl/sharedStrings.xml" ||
           (name.rfind("xl/worksheets/sheet", 0) == 0 && name.size() > 4 &&
            name.compare(name.size() - 4, 4, ".xml") == 0);
}

}  // namespace

int main(int argc, char** argv) {
    int books = 0;
    long parts = 0;
    for (int i = 1; i < argc; ++i) {
        int err = 0;
        zip_t* z = zip_open(argv[i], ZIP_RDONLY, &err);
        if (!z) return 1;
        ++books;
        const zip_int64_t n = zip_get_num_entries(z, 0);
        for (zip_int64_t e = 0; e < n; ++e) {
            zip_stat_t st;
            if (zip_stat_index(z, static_cast<zip_uint64_t>(e), 0, &st) != 0) continue;
            if (!wanted(st.name)) continue;
            std::string xml = inflate(z, static_cast<zip_uint64_t>(e), st.size);
            pugi::xml_document doc;
            if (doc.load_buffer_inplace(xml.data(), xml.size())) ++parts;
        }
        zip_close(z);
    }
    std::printf("books=%d parts=%ld\n", books, parts);
    return 0;
}
