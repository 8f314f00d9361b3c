#pragma once
// Small workbooks built part by part, so that tests (and the fuzzers' seeds) can hold damaged
// and hostile variants of every part without storing binaries.

#include <optional>
#include <string>
#include <vector>

#include "xl/native/package.h"

namespace sheaflow::testing {

inline const char* kMainNs = "http://schemas.openxmlformats.org/spreadsheetml/2006/main";

// A worksheet part around `rows` (the content of <sheetData>).
inline std::string sheet_xml(const std::string& rows) {
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
                       "<worksheet xmlns=\"") +
           kMainNs + "\"><dimension ref=\"A1\"/><sheetData>" + rows +
           "</sheetData><pageMargins left=\"0.7\" right=\"0.7\" top=\"0.75\" bottom=\"0.75\" "
           "header=\"0.3\" footer=\"0.3\"/></worksheet>";
}

// A shared strings part holding `items`, plain text without escaping.
inline std::string sst_xml(const std::vector<std::string>& items) {
    std::string s = std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
                                "<sst xmlns=\"") +
                    kMainNs + "\" count=\"" + std::to_string(items.size()) + "\" uniqueCount=\"" +
                    std::to_string(items.size()) + "\">";
    for (const std::string& i : items) s += "<si><t>" + i + "</t></si>";
    return s + "</sst>";
}

// Writes a package with one worksheet per entry of `sheets` ("Sheet1"...) and, when given, the
// shared strings part as it is (bytes, not necessarily XML).
inline bool write_book(const std::string& path, const std::vector<std::string>& sheets,
                       const std::optional<std::string>& sst = std::nullopt) {
    using xl::native::Package;
    auto p = Package::create();
    std::string types =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<Types "
        "xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\"><Default "
        "Extension=\"rels\" "
        "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/><Default "
        "Extension=\"xml\" ContentType=\"application/xml\"/><Override PartName=\"/xl/workbook.xml\" "
        "ContentType=\"application/"
        "vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml\"/>";
    std::string wb = std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
                                 "<workbook xmlns=\"") +
                     kMainNs +
                     "\" xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/"
                     "relationships\"><sheets>";
    std::string rels =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<Relationships "
        "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
    const std::string rel_ns = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
    for (std::size_t i = 0; i < sheets.size(); ++i) {
        std::string n = std::to_string(i + 1);
        std::string part = "xl/worksheets/sheet" + n + ".xml";
        p->write(part, sheets[i]);
        types += "<Override PartName=\"/" + part +
                 "\" ContentType=\"application/"
                 "vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml\"/>";
        wb += "<sheet name=\"Sheet" + n + "\" sheetId=\"" + n + "\" r:id=\"rId" + n + "\"/>";
        rels += "<Relationship Id=\"rId" + n + "\" Type=\"" + rel_ns +
                "worksheet\" Target=\"worksheets/sheet" + n + ".xml\"/>";
    }
    if (sst) {
        p->write("xl/sharedStrings.xml", *sst);
        types +=
            "<Override PartName=\"/xl/sharedStrings.xml\" ContentType=\"application/"
            "vnd.openxmlformats-officedocument.spreadsheetml.sharedStrings+xml\"/>";
        rels += "<Relationship Id=\"rIdS\" Type=\"" + rel_ns +
                "sharedStrings\" Target=\"sharedStrings.xml\"/>";
    }
    p->write("[Content_Types].xml", types + "</Types>");
    p->write("_rels/.rels",
             "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<Relationships "
             "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\"><Relationship "
             "Id=\"rId1\" Type=\"" +
                 rel_ns + "officeDocument\" Target=\"xl/workbook.xml\"/></Relationships>");
    p->write("xl/workbook.xml", wb + "</sheets></workbook>");
    p->write("xl/_rels/workbook.xml.rels", rels + "</Relationships>");
    return p->save(path).has_value();
}

}  // namespace sheaflow::testing
