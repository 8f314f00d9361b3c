// Workbook options kept in the workbook part (the first <workbookView>, <calcPr>, <workbookPr>)
// and the legacy shared workbook: the revision headers, user names and revision log parts.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>

#include "xl/native/book.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

bool flag(pugi::xml_node n, const char* attr, bool absent) {
    pugi::xml_attribute a = n.attribute(attr);
    if (!a) return absent;
    std::string_view v = a.value();
    return v == "1" || v == "true";
}

// The node to change, created when missing.
pugi::xml_node ensure(WorkbookPart& wp, const char* local) {
    pugi::xml_node n = xml::child(wp.root(), local);
    return n ? n : wp.insert_in_order(local);
}

pugi::xml_node ensure_view(WorkbookPart& wp) {
    pugi::xml_node views = ensure(wp, "bookViews");
    pugi::xml_node view = xml::child(views, "workbookView");
    return view ? view : views.append_child((xml::prefix_of(views) + "workbookView").c_str());
}

// Sets an attribute, or removes it when the value is the schema's default.
void put(pugi::xml_node n, const char* attr, const std::string& value, const char* absent) {
    if (value == absent) {
        n.remove_attribute(attr);
        return;
    }
    pugi::xml_attribute a = n.attribute(attr);
    if (!a) a = n.append_attribute(attr);
    a.set_value(value.c_str());
}

std::string bool_text(bool v) { return v ? "1" : "0"; }

std::string number_text(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.15g", v);
    return buf;
}

constexpr std::string_view kRevisionHeadersRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/revisionHeaders";
constexpr std::string_view kUserNamesRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/usernames";
constexpr std::string_view kRevisionLogRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/revisionLog";
constexpr std::string_view kRevisionHeadersType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.revisionHeaders+xml";
constexpr std::string_view kUserNamesType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.userNames+xml";
constexpr std::string_view kRevisionLogType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.revisionLog+xml";
constexpr const char* kMainNs = "http://schemas.openxmlformats.org/spreadsheetml/2006/main";
constexpr const char* kRelNs =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

std::string new_guid() {
    std::random_device rd;
    std::mt19937_64 gen((static_cast<std::uint64_t>(rd()) << 32) ^ rd() ^
                        static_cast<std::uint64_t>(
                            std::chrono::steady_clock::now().time_since_epoch().count()));
    std::uint64_t a = gen(), b = gen();
    char buf[40];
    std::snprintf(buf, sizeof buf, "{%08X-%04X-4%03X-%04X-%012llX}",
                  static_cast<unsigned>(a >> 32), static_cast<unsigned>((a >> 16) & 0xFFFF),
                  static_cast<unsigned>(a & 0xFFF),
                  static_cast<unsigned>(0x8000 | ((b >> 48) & 0x3FFF)),
                  static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFull));
    return buf;
}

std::string now_text() {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%S", &tm);
    return buf;
}

std::string attr_escaped(std::string_view s) {
    std::string out;
    xml::escape_attr(s, out);
    return out;
}

}  // namespace

BookOptions Book::options() {
    BookOptions o;
    pugi::xml_node root = workbook_.root();
    pugi::xml_node view = xml::child(xml::child(root, "bookViews"), "workbookView");
    o.show_sheet_tabs = flag(view, "showSheetTabs", true);
    o.show_horizontal_scroll = flag(view, "showHorizontalScroll", true);
    o.show_vertical_scroll = flag(view, "showVerticalScroll", true);
    o.tab_ratio = view.attribute("tabRatio").as_int(600);
    pugi::xml_node calc = xml::child(root, "calcPr");
    std::string_view mode = calc.attribute("calcMode").value();
    o.calculation = mode == "manual"        ? xlCalculationManual
                    : mode == "autoNoTable" ? xlCalculationSemiautomatic
                                            : xlCalculationAutomatic;
    o.iteration = flag(calc, "iterate", false);
    o.max_iterations = calc.attribute("iterateCount").as_int(100);
    o.max_change = calc.attribute("iterateDelta").as_double(0.001);
    o.precision_as_displayed = !flag(calc, "fullPrecision", true);
    pugi::xml_node pr = xml::child(root, "workbookPr");
    o.date1904 = flag(pr, "date1904", false);
    o.save_link_values = flag(pr, "saveExternalLinkValues", true);
    return o;
}

Result<void> Book::set_options(const BookOptionsChange& c) {
    if (format_ == Format::Csv) return Error::failed("CSVファイルにはオプションを保存できません。");
    if (c.tab_ratio && (*c.tab_ratio < 0 || *c.tab_ratio > 1000))
        return Error::failed("見出しの幅の比率は0～1000で指定してください。");
    if (c.max_iterations && (*c.max_iterations < 1 || *c.max_iterations > 32767))
        return Error::failed("最大反復回数は1～32767で指定してください。");
    if (c.max_change && (*c.max_change < 0 || !std::isfinite(*c.max_change)))
        return Error::failed("変化の最大値が正しくありません。");
    const BookOptions now = options();
    bool changed = false;
    auto view_flag = [&](const std::optional<bool>& want, bool have, const char* attr) {
        if (!want || *want == have) return;
        put(ensure_view(workbook_), attr, bool_text(*want), "1");
        changed = true;
    };
    view_flag(c.show_sheet_tabs, now.show_sheet_tabs, "showSheetTabs");
    view_flag(c.show_horizontal_scroll, now.show_horizontal_scroll, "showHorizontalScroll");
    view_flag(c.show_vertical_scroll, now.show_vertical_scroll, "showVerticalScroll");
    if (c.tab_ratio && *c.tab_ratio != now.tab_ratio) {
        put(ensure_view(workbook_), "tabRatio", std::to_string(*c.tab_ratio), "600");
        changed = true;
    }
    if (c.calculation && *c.calculation != now.calculation) {
        const char* mode = *c.calculation == xlCalculationManual          ? "manual"
                           : *c.calculation == xlCalculationSemiautomatic ? "autoNoTable"
                                                                          : "auto";
        put(ensure(workbook_, "calcPr"), "calcMode", mode, "auto");
        changed = true;
    }
    if (c.iteration && *c.iteration != now.iteration) {
        put(ensure(workbook_, "calcPr"), "iterate", bool_text(*c.iteration), "0");
        changed = true;
    }
    if (c.max_iterations && *c.max_iterations != now.max_iterations) {
        put(ensure(workbook_, "calcPr"), "iterateCount", std::to_string(*c.max_iterations), "100");
        changed = true;
    }
    if (c.max_change && *c.max_change != now.max_change) {
        put(ensure(workbook_, "calcPr"), "iterateDelta", number_text(*c.max_change), "0.001");
        changed = true;
    }
    if (c.precision_as_displayed && *c.precision_as_displayed != now.precision_as_displayed) {
        put(ensure(workbook_, "calcPr"), "fullPrecision", bool_text(!*c.precision_as_displayed),
            "1");
        changed = true;
    }
    if (c.date1904 && *c.date1904 != now.date1904) {
        put(ensure(workbook_, "workbookPr"), "date1904", bool_text(*c.date1904), "0");
        date1904_ = *c.date1904;
        changed = true;
    }
    if (c.save_link_values && *c.save_link_values != now.save_link_values) {
        put(ensure(workbook_, "workbookPr"), "saveExternalLinkValues",
            bool_text(*c.save_link_values), "1");
        changed = true;
    }
    if (changed) {
        workbook_.mark_dirty();
        saved_ = false;
    }
    return {};
}

SharingState Book::sharing() {
    SharingState out;
    if (format_ != Format::Package) return out;
    auto headers_rel = workbook_rels_.by_type(kRevisionHeadersRel);
    if (!headers_rel) return out;
    std::string part = resolve_target(workbook_part_name_, headers_rel->target);
    auto bytes = package_->read(part);
    if (!bytes) return out;
    xml::Document doc;
    if (!xml::load(doc, *bytes, part)) return out;
    out.shared = flag(doc.root(), "shared", true);
    for (pugi::xml_node h : doc.root().children())
        if (h.type() == pugi::node_element && xml::local_name(h.name()) == "header")
            ++out.revisions;
    if (auto users_rel = workbook_rels_.by_type(kUserNamesRel)) {
        std::string users_part = resolve_target(workbook_part_name_, users_rel->target);
        xml::Document users;
        if (auto u = package_->read(users_part); u && xml::load(users, *u, users_part))
            for (pugi::xml_node n : users.root().children())
                if (n.type() == pugi::node_element && xml::local_name(n.name()) == "userInfo")
                    out.users.push_back(n.attribute("name").value());
    }
    return out;
}

Result<void> Book::set_shared(bool shared, const std::string& user) {
    if (format_ != Format::Package && format_ != Format::New)
        return Error::failed("この形式のブックは共有できません。");
    auto ct = content_types();
    if (!ct) return ct.error();
    const bool has_history = workbook_rels_.by_type(kRevisionHeadersRel).has_value();
    if (!shared) {
        if (!has_history) return {};
        // The history and everything it owns go.
        for (std::string_view type : {kRevisionHeadersRel, kUserNamesRel}) {
            auto item = workbook_rels_.by_type(type);
            if (!item) continue;
            std::string part = resolve_target(workbook_part_name_, item->target);
            for (const std::string& p : structure::owned_parts(*this, part)) {
                package_->remove(p);
                package_->remove(rels_path_for(p));
                (*ct)->remove_override(p);
            }
            workbook_rels_.remove_type(type);
        }
        if (pugi::xml_node p = xml::child(workbook_.root(), "workbookProtection")) {
            p.remove_attribute("lockRevision");
            for (const char* a : {"revisionsAlgorithmName", "revisionsHashValue",
                                  "revisionsSaltValue", "revisionsSpinCount", "revisionsPassword"})
                p.remove_attribute(a);
            if (!p.first_attribute()) workbook_.root().remove_child(p);
            workbook_.mark_dirty();
        }
        saved_ = false;
        return {};
    }
    if (has_history && sharing().shared) return {};
    if (has_history)
        return Error::failed("変更履歴の部品が壊れているため共有できません。");
    for (const std::string& name : package_->part_names())
        if ((*ct)->type_of(name) == structure::kTableType)
            return Error::make(Error::Code::Refused, "テーブルを含むブックは共有できません。");
    if (protection().structure)
        return Error::make(Error::Code::Refused,
                           "ブックの構成が保護されているため共有できません。");

    const std::string dir = workbook_part_name_.substr(0, workbook_part_name_.rfind('/') + 1);
    const std::string headers_part = dir + "revisions/revisionHeaders.xml";
    const std::string log_part = dir + "revisions/revisionLog1.xml";
    const std::string users_part = dir + "revisions/userNames.xml";
    const std::string guid = new_guid(), when = now_text(), name = attr_escaped(user);
    std::string sheet_ids;
    std::uint32_t max_id = 0;
    std::vector<WorkbookPart::Sheet> sheets = workbook_.sheets();
    for (const WorkbookPart::Sheet& s : sheets) {
        sheet_ids += "<sheetId val=\"" + std::to_string(s.sheet_id) + "\"/>";
        max_id = std::max(max_id, s.sheet_id);
    }
    const std::string decl = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n";
    package_->write(headers_part,
                    decl + "<headers xmlns=\"" + kMainNs + "\" xmlns:r=\"" + kRelNs +
                        "\" guid=\"" + guid + "\" lastGuid=\"" + guid +
                        "\" shared=\"1\" diskRevisions=\"1\" revisionId=\"1\" version=\"2\">"
                        "<header guid=\"" + guid + "\" dateTime=\"" + when + "\" maxSheetId=\"" +
                        std::to_string(max_id + 1) + "\" userName=\"" + name +
                        "\" r:id=\"rId1\"><sheetIdMap count=\"" + std::to_string(sheets.size()) +
                        "\">" + sheet_ids + "</sheetIdMap></header></headers>");
    Relationships log_rels;
    std::string log_id = log_rels.add(kRevisionLogRel, relative_target(headers_part, log_part));
    (void)log_id;  // the first relationship of a new set is rId1, as the header names it
    package_->write(rels_path_for(headers_part), log_rels.serialize());
    package_->write(log_part, decl + "<revisions xmlns=\"" + kMainNs + "\" xmlns:r=\"" + kRelNs +
                                  "\"/>");
    package_->write(users_part, decl + "<users xmlns=\"" + kMainNs + "\" xmlns:r=\"" + kRelNs +
                                    "\" count=\"1\"><userInfo guid=\"" + new_guid() +
                                    "\" name=\"" + name + "\" id=\"" +
                                    std::to_string(std::random_device{}() & 0x7FFFFFFF) +
                                    "\" dateTime=\"" + when + "\"/></users>");
    (*ct)->set_override(headers_part, kRevisionHeadersType);
    (*ct)->set_override(log_part, kRevisionLogType);
    (*ct)->set_override(users_part, kUserNamesType);
    workbook_rels_.add(kRevisionHeadersRel, relative_target(workbook_part_name_, headers_part));
    workbook_rels_.add(kUserNamesRel, relative_target(workbook_part_name_, users_part));
    saved_ = false;
    return {};
}

}  // namespace sheaflow::xl::native
