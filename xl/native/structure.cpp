// The sheet structure of a workbook: renaming, inserting, deleting and moving sheets. Every
// member checks what the application would refuse before it changes anything, and keeps every
// part that depends on the sheet list consistent: the workbook part's sheets, defined names and
// views, relationships, content types, formulas that name sheets, and the calculation chain.

#include <algorithm>

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/formula_refs.h"
#include "xl/native/sheet_names.h"
#include "xl/native/structure_copy.h"
#include "xl/native/structure_support.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

using namespace structure;

namespace {

constexpr std::string_view kAppPropsPart = "docProps/app.xml";

// Keeps the sheet titles of the document properties in step with renames.
void rename_in_app_properties(Book& b, const SheetRenameChain& renames) {
    auto stored = b.package().find(kAppPropsPart);
    if (!stored) return;
    auto bytes = b.package().read(*stored);
    if (!bytes) return;
    xml::Document doc;
    if (!xml::load(doc, *bytes, *stored)) return;
    pugi::xml_node vector = xml::child(xml::child(doc.root(), "TitlesOfParts"), "vector");
    bool changed = false;
    for (pugi::xml_node n = vector.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        std::string title = n.text().get();
        std::string renamed;
        if (auto whole = renames.find(title))
            renamed = std::move(*whole);
        else if (title.find('!') != std::string::npos)
            renamed = rename_sheets_in_formula(title, renames);
        else
            continue;
        if (renamed == title) continue;
        n.text().set(renamed.c_str());
        changed = true;
    }
    if (changed) b.package().write(*stored, xml::save(doc));
}

}  // namespace

// After a sheet is added, removed or moved, the document properties list the worksheets and
// chart sheets again in their new order, with their counts, as the application does on save.
// Groups the application did not write (or that name other things) stay as they are.
void structure::list_sheets_in_app_properties(Book& b) {
    auto stored = b.package().find(kAppPropsPart);
    if (!stored) return;
    auto bytes = b.package().read(*stored);
    if (!bytes) return;
    xml::Document doc;
    if (!xml::load(doc, *bytes, *stored)) return;
    pugi::xml_node pairs = xml::child(xml::child(doc.root(), "HeadingPairs"), "vector");
    pugi::xml_node titles = xml::child(xml::child(doc.root(), "TitlesOfParts"), "vector");
    if (!pairs || !titles) return;
    std::vector<std::string> worksheets, charts;
    for (const auto& sh : b.sheets()) {
        if (sh->kind() == SheetKind::Worksheet) worksheets.push_back(sh->name());
        if (sh->kind() == SheetKind::Chart) charts.push_back(sh->name());
    }
    std::vector<pugi::xml_node> variants, title_nodes;
    for (pugi::xml_node n = pairs.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element) variants.push_back(n);
    for (pugi::xml_node n = titles.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element) title_nodes.push_back(n);
    // The new titles, group by group.
    std::vector<std::string> new_titles;
    std::size_t offset = 0;
    bool changed = false;
    for (std::size_t i = 0; i + 1 < variants.size(); i += 2) {
        const std::string heading = variants[i].first_child().text().get();
        pugi::xml_node count_node = variants[i + 1].first_child();
        const auto count = static_cast<std::size_t>(std::max(0, count_node.text().as_int()));
        const std::vector<std::string>* names = nullptr;
        if (heading == "Worksheets" || heading == "ワークシート") names = &worksheets;
        if (heading == "Charts" || heading == "グラフ") names = &charts;
        if (offset + count > title_nodes.size()) return;  // not as the application writes it
        if (names) {
            new_titles.insert(new_titles.end(), names->begin(), names->end());
            if (names->size() != count) {
                count_node.text().set(static_cast<int>(names->size()));
                changed = true;
            }
        } else {
            for (std::size_t t = offset; t < offset + count; ++t)
                new_titles.push_back(title_nodes[t].text().get());
        }
        offset += count;
    }
    for (std::size_t t = offset; t < title_nodes.size(); ++t)
        new_titles.push_back(title_nodes[t].text().get());
    if (!changed && new_titles.size() == title_nodes.size()) {
        bool same = true;
        for (std::size_t t = 0; t < new_titles.size() && same; ++t)
            same = new_titles[t] == title_nodes[t].text().get();
        if (same) return;
    }
    // The title elements are written again with the element name the part uses.
    const std::string element =
        title_nodes.empty() ? xml::prefix_of(titles) + "lpstr" : title_nodes.front().name();
    for (pugi::xml_node n : title_nodes) titles.remove_child(n);
    for (const std::string& t : new_titles)
        titles.append_child(element.c_str()).text().set(t.c_str());
    titles.attribute("size").set_value(static_cast<unsigned>(new_titles.size()));
    b.package().write(*stored, xml::save(doc));
}

namespace {

void rename_in_pivot_caches(Book& b, const SheetRenameChain& renames) {
    auto ct = b.content_types();
    if (!ct) return;
    for (const std::string& name : b.package().part_names()) {
        if ((*ct)->type_of(name) != kPivotCacheType) continue;
        auto bytes = b.package().read(name);
        if (!bytes) continue;
        if (auto edited = rename_pivot_sources(*bytes, renames))
            b.package().write(name, std::move(*edited));
    }
}

// The application refuses every change of the sheet list of a workbook whose structure is
// protected; `what` says what was asked ("シート「A」の名前を変更").
Result<void> structure_unlocked(Book& b, const std::string& what) {
    if (!b.workbook_part().structure_locked()) return {};
    return refused("ブック「" + b.name() + "」の構成は保護されているため、" + what + "できません。");
}

// The sheet of this book that `w` is, or nullptr (also for a sheet of another book).
Sheet* own_sheet(Book& b, Worksheet* w) {
    if (!w || &w->parent() != static_cast<Workbook*>(&b)) return nullptr;
    auto* s = static_cast<Sheet*>(w);
    return b.sheet_position(s) >= 0 ? s : nullptr;
}

}  // namespace

Result<void> Sheet::set_name(const std::string& name) {
    auto done = book_.rename_sheets({{this, name}});
    if (!done) return done.error();
    return done->front();
}

// Each rename is checked against the names the earlier ones left, as one rename at a time would
// be, but the formulas, pivot sources and document properties that name the sheets are rewritten
// once for all of them: a thousand renames cost one pass over the workbook, not a thousand.
Result<std::vector<Result<void>>> Book::rename_sheets(
    const std::vector<std::pair<Worksheet*, std::string>>& renames) {
    std::vector<Result<void>> outcome;
    std::vector<std::pair<Sheet*, std::string>> done;  // each renamed sheet and its name before
    SheetRenameChain composed;
    for (const auto& [w, name] : renames) {
        Sheet* s = own_sheet(*this, w);
        if (!s) {
            outcome.push_back(refused("別のブックのシートの名前は変更できません。"));
            continue;
        }
        if (name == s->name_) {
            outcome.push_back({});
            continue;
        }
        if (auto r = structure_unlocked(*this, "シート「" + s->name_ + "」の名前を変更"); !r) {
            outcome.push_back(r);
            continue;
        }
        if (auto r = native::check_sheet_name(name, sheet_names(*this, s)); !r) {
            outcome.push_back(r);
            continue;
        }
        // A change of case only needs no formula rewritten (references compare without case),
        // but is written anyway so that the formulas show the new spelling.
        composed.add(s->name_, name);
        done.emplace_back(s, s->name_);
        s->name_ = name;
        outcome.push_back({});
    }
    if (done.empty()) return outcome;
    // One rename probes parts for its old name; several read every part once.
    const std::string probe = done.size() == 1 ? done.front().second : std::string();
    FormulaEdit edit = [&](std::string_view f) { return rename_sheets_in_formula(f, composed); };
    if (auto r = rewrite_workbook_formulas(*this, edit, probe, nullptr); !r) {
        for (auto it = done.rbegin(); it != done.rend(); ++it) it->first->name_ = it->second;
        return r.error();
    }
    rename_in_pivot_caches(*this, composed);
    rename_in_app_properties(*this, composed);
    for (const auto& [s, old] : done)
        if (pugi::xml_node element = sheet_element(workbook_, sheet_position(s)))
            element.attribute("name").set_value(s->name_.c_str());
    workbook_.mark_dirty();
    set_saved(false);
    return outcome;
}

Result<Worksheet*> Book::add_worksheet(Worksheet* before, Worksheet* after) {
    if (auto r = structure_unlocked(*this, "シートを挿入"); !r) return r.error();
    Sheet* b = own_sheet(*this, before);
    Sheet* a = own_sheet(*this, after);
    if ((before && !b) || (after && !a))
        return refused("別のブックのシートを基準にしてシートを追加することはできません。");
    int position = b ? sheet_position(b) : a ? sheet_position(a) + 1 : sheet_position(active_);
    if (position < 0) position = static_cast<int>(sheets_.size());
    auto ct = content_types();
    if (!ct) return ct.error();

    std::string name = new_sheet_name(sheet_names(*this));
    std::string folder = workbook_part_name_.substr(0, workbook_part_name_.rfind('/') + 1);
    std::string part = unique_part_name(*package_, folder + "worksheets/", "sheet", ".xml");
    std::string code = new_code_name(*this);
    package_->write(part, with_code_name(WorksheetPart::empty_xml(false), code));
    (*ct)->set_override(part, ctype::kWorksheet);
    std::string rel_id =
        workbook_rels_.add(rel::kWorksheet, relative_target(workbook_part_name_, part));

    remap_sheet_indexes(workbook_, [&](int i) { return i >= position ? i + 1 : i; });
    insert_sheet_element(workbook_, position, name, rel_id);
    workbook_.mark_dirty();

    auto sheet = std::make_unique<Sheet>(*this, name, part, SheetKind::Worksheet);
    Sheet* raw = sheet.get();
    sheets_.insert(sheets_.begin() + position, std::move(sheet));
    document_module_added(*raw);
    active_ = raw;
    app_.set_active(this);
    cells_changed();
    structure_changed();
    app_properties_stale();
    return static_cast<Worksheet*>(raw);
}

Result<void> Sheet::delete_sheet() {
    Book& b = book_;
    if (auto r = structure_unlocked(b, "シート「" + name_ + "」を削除"); !r) return r;
    int visible_left = 0;
    for (const auto& s : b.sheets())
        if (s.get() != this && s->visible()) ++visible_left;
    if (visible_left == 0)
        return refused("ブックには少なくとも 1 枚の表示されたシートが必要なため、シート「" + name_ +
                       "」は削除できません。");
    auto ct = b.content_types();
    if (!ct) return ct.error();
    const int position = b.sheet_position(this);
    const std::vector<std::string> order = sheet_names(b);
    const std::string name = name_;
    const std::string code = code_name();

    // References to the sheet become #REF! (3-D ranges shrink).
    FormulaEdit edit = [&](std::string_view f) { return delete_sheet_in_formula(f, name, order); };
    if (auto r = rewrite_workbook_formulas(b, edit, name, this); !r) return r;

    // The sheet's part and the parts only it used go, with their relationships and types.
    for (const std::string& part : owned_parts(b, part_name_)) {
        std::string rels = rels_path_for(part);
        if (b.package().has(rels)) b.package().remove(rels);
        b.package().remove(part);
        (*ct)->remove_override(part);
    }
    WorkbookPart& wp = b.workbook_part();
    pugi::xml_node element = sheet_element(wp, position);
    if (std::string id = sheet_rel_id(element); !id.empty()) b.workbook_rels().remove_id(id);
    if (element) element.parent().remove_child(element);
    remap_sheet_indexes(wp, [&](int i) { return i == position ? -1 : i > position ? i - 1 : i; });
    wp.mark_dirty();

    // The next visible sheet to the right becomes active, else the nearest one to the left.
    auto& sheets = b.sheets();
    if (b.active_sheet() == this) {
        Sheet* next = nullptr;
        for (std::size_t i = static_cast<std::size_t>(position) + 1; i < sheets.size() && !next;
             ++i)
            if (sheets[i]->visible()) next = sheets[i].get();
        for (int i = position - 1; i >= 0 && !next; --i)
            if (sheets[static_cast<std::size_t>(i)]->visible())
                next = sheets[static_cast<std::size_t>(i)].get();
        b.set_active(next);
    }
    b.cells_changed();
    b.structure_changed();
    // Last: the book keeps the object so that a caller's pointer stays valid until it closes.
    b.retire(sheets[static_cast<std::size_t>(position)]);
    sheets.erase(sheets.begin() + position);
    b.document_module_removed(code);
    b.app_properties_stale();
    return {};
}

Result<void> Sheet::move(Worksheet* before, Worksheet* after) {
    Book& b = book_;
    if (before && after) return refused("Before と After は同時に指定できません。");
    Worksheet* anchor = before ? before : after;
    Sheet* target = own_sheet(b, anchor);
    if (!target) {
        // To another workbook (or a new one): a copy there, then this sheet goes.
        if (auto r = structure_unlocked(b, "シート「" + name_ + "」を移動"); !r) return r;
        int visible_left = 0;
        for (const auto& s : b.sheets())
            if (s.get() != this && s->visible()) ++visible_left;
        if (visible_left == 0)
            return refused("ブックには少なくとも 1 枚の表示されたシートが必要なため、シート「" +
                           name_ + "」は移動できません。");
        auto copied = copy(before, after);
        if (!copied) return copied.error();
        return delete_sheet();
    }
    if (target == this) return {};
    const int from = b.sheet_position(this);
    int to = b.sheet_position(target) + (after ? 1 : 0);
    if (to > from) --to;
    if (to == from) return {};
    if (auto r = structure_unlocked(b, "シート「" + name_ + "」を移動"); !r) return r;
    WorkbookPart& wp = b.workbook_part();
    // A move costs the distance it goes, not the length of the list: sorting many sheets by
    // exchanges moves each one step at a time.
    b.move_sheet(from, to);
    remap_sheet_indexes(wp, [&](int i) {
        if (i == from) return to;
        if (from < to && i > from && i <= to) return i - 1;
        if (to < from && i >= to && i < from) return i + 1;
        return i;
    });
    // move_sheet kept the sheet index and marked the tabs for the next save; the list itself
    // is not rebuilt.
    wp.mark_dirty();
    b.cells_changed();
    b.app_properties_stale();
    return {};
}

Result<void> Sheet::copyable() {
    if (!has_cells()) return refused("ワークシート以外のシートはコピーできません。");
    // A sheet whose part cannot be read is not copied: the copy would carry the damage along.
    // A part the engine has not read yet is scanned for well-formed XML, which is all the copy
    // relies on and much less than reading its cells.
    if (loaded()) return check();
    auto text = book_.package().read(part_name_);
    if (!text) return text.error();
    if (!well_formed(*text))
        return Error::make(Error::Code::BadFormat,
                           "シート「" + name_ + "」を読み込めません（部品「" + part_name_ +
                               "」が壊れています）。",
                           part_name_);
    return {};
}

Result<Worksheet*> Sheet::copy(Worksheet* before, Worksheet* after) {
    if (before && after) return refused("Before と After は同時に指定できません。");
    if (auto r = copyable(); !r) return r.error();
    Worksheet* anchor = before ? before : after;
    if (!anchor) {
        // Copy with no position: a new workbook that holds the copy alone.
        auto added = book_.app().add();
        if (!added) return added.error();
        Book& dest = static_cast<Book&>(**added);
        Worksheet* blank = dest.worksheet(1);
        auto copied = copy_sheet(*this, dest, blank, nullptr);
        if (!copied) {
            dest.close();
            return copied.error();
        }
        if (blank) (void)blank->delete_sheet();
        // Alone in its workbook the copy takes the source's name, which the blank sheet may
        // have held while both were there.
        if ((*copied)->name() != name_) (void)(*copied)->set_name(name_);
        return copied;
    }
    Book& dest = static_cast<Book&>(anchor->parent());
    if (auto r = structure_unlocked(dest, "シートをコピー"); !r) return r.error();
    auto copied = copy_sheet(*this, dest, before, after);
    if (copied) dest.app_properties_stale();
    return copied;
}

Result<void> Book::check_sheet_name(const std::string& name) {
    return native::check_sheet_name(name, sheet_names(*this));
}

Result<std::vector<Worksheet*>> Book::copy_sheets(const std::vector<Worksheet*>& sheets,
                                                  Worksheet& after,
                                                  const std::vector<std::string>& names) {
    if (!names.empty() && names.size() != sheets.size())
        return refused("コピーするシートと名前の数が合いません。");
    Book& dest = static_cast<Book&>(after.parent());
    if (&dest == this) return refused("同じブックの中へはまとめてコピーできません。");
    if (auto r = structure_unlocked(dest, "シートをコピー"); !r) return r.error();
    std::vector<Sheet*> sources;
    for (Worksheet* w : sheets) {
        Sheet* s = nullptr;
        for (auto& own : sheets_)
            if (own.get() == w) s = own.get();
        if (!s) return refused("コピーするシートが見つかりません。");
        if (auto r = s->copyable(); !r) return r.error();
        sources.push_back(s);
    }
    auto copies = native::copy_sheets(sources, dest, after, names);
    if (copies) list_sheets_in_app_properties(dest);
    return copies;
}

}  // namespace sheaflow::xl::native
