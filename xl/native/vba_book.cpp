// The object model of a workbook's VBA project (Workbook.VBProject, VBComponents, CodeModule)
// over the project read from its vbaProject.bin part.

#include <algorithm>
#include <list>
#include <memory>

#include "util/file.h"
#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/content_types.h"
#include "xl/native/structure_support.h"
#include "xl/native/vba_project.h"

namespace sheaflow::xl::native {
namespace {

constexpr std::string_view kSignatureRel = "vbaProjectSignature";

Error refused(const std::string& message) { return Error::make(Error::Code::Refused, message); }

bool starts_with_ci(std::string_view s, std::string_view prefix) {
    return s.size() >= prefix.size() && text::upper(s.substr(0, prefix.size())) == text::upper(prefix);
}

// A module file's text: CP932 or UTF-8 (with or without BOM), any line ends.
Result<std::vector<std::string>> read_module_file(const std::string& path) {
    std::string bytes, decoded;
    if (!file::read_all(path, bytes))
        return Error::make(Error::Code::NotFound, "ファイル「" + path + "」を読めません。", path);
    if (!text::decode_file_text(bytes, decoded))
        return Error::make(Error::Code::BadFormat,
                           "ファイル「" + path + "」の文字コードが分かりません。", path);
    return vba::split_lines(decoded);
}

// The line where a procedure starts (0-based), or the line count when there is none.
std::size_t first_procedure(const std::vector<std::string>& code) {
    for (std::size_t i = 0; i < code.size(); ++i) {
        std::string line = text::trim(code[i]);
        for (const char* scope : {"Public ", "Private ", "Friend "})
            if (starts_with_ci(line, scope)) line = text::trim(line.substr(std::string(scope).size()));
        if (starts_with_ci(line, "Static ")) line = text::trim(line.substr(7));
        for (const char* kind : {"Sub ", "Function ", "Property "})
            if (starts_with_ci(line, kind)) return i;
    }
    return code.size();
}

}  // namespace

class VbaBinding;

class VbaComponent final : public xl::VBComponent, public xl::CodeModule {
public:
    VbaComponent(VbaBinding& binding, vba::Module& module) : binding_(binding), module_(&module) {}

    // VBComponent
    std::string name() const override { return module_->name; }
    Result<void> set_name(const std::string& name) override;
    int type() const override { return module_->type; }
    Result<void> export_file(const std::string& path) override;
    xl::CodeModule& code_module() override { return *this; }
    // The project the module belongs to.
    const vba::Project& source_project() const;

    // CodeModule. Attribute lines inside the code (a procedure's description or shortcut key)
    // are kept but hidden, as the editor hides them.
    int count_of_lines() override { return static_cast<int>(visible().size()); }
    std::string lines(int start, int count) override {
        std::vector<std::size_t> v = visible();
        std::string out;
        for (int i = std::max(start, 1); i < start + count && i <= static_cast<int>(v.size()); ++i) {
            if (i > std::max(start, 1)) out += "\r\n";
            out += module_->code[v[static_cast<std::size_t>(i - 1)]];
        }
        return out;
    }
    Result<void> delete_lines(int start, int count) override;
    Result<void> insert_lines(int line, const std::string& code) override;
    Result<void> add_from_file(const std::string& path) override;

    vba::Module& module() { return *module_; }

private:
    // Indexes into the code of the lines the editor shows.
    std::vector<std::size_t> visible() const {
        std::vector<std::size_t> v;
        for (std::size_t i = 0; i < module_->code.size(); ++i)
            if (!starts_with_ci(text::trim(module_->code[i]), "Attribute ")) v.push_back(i);
        return v;
    }
    void changed();
    VbaBinding& binding_;
    vba::Module* module_;
};

class VbaBinding final : public xl::VBProject, public xl::VBComponents {
public:
    VbaBinding(Book& book, std::string part) : book_(book), part_(std::move(part)) {}

    Result<void> load() {
        if (part_.empty()) return {};
        auto bytes = book_.package().read(part_);
        if (!bytes) return bytes.error();
        auto parsed = vba::Project::parse(*bytes, book_.name());
        if (!parsed) return parsed.error();
        project_ = std::move(*parsed);
        for (vba::Module& m : project_->modules()) components_.emplace_back(*this, m);
        return {};
    }

    // VBProject
    xl::VBComponents& vb_components() override { return *this; }
    bool exists() const override { return project_.has_value(); }
    Result<void> create(xl::VBProject* model) override;

    // A sheet came into the workbook (added or copied in) or goes: its document module with it.
    void sheet_added(const Sheet& sheet, std::vector<std::string> code = {}) {
        if (!project_ || sheet.code_name().empty() || project_->find(sheet.code_name())) return;
        std::string_view base = sheet.kind() == SheetKind::Chart ? vba::kChartBase : vba::kWorksheetBase;
        if (auto m = project_->add_document(sheet.code_name(), base)) {
            (*m)->code = std::move(code);
            components_.emplace_back(*this, **m);
            changed();
        }
    }
    void sheet_removed(const std::string& code_name) {
        if (!project_ || code_name.empty()) return;
        vba::Module* m = project_->find(code_name);
        if (!m || m->type != xl::vbext_ct_Document) return;
        auto it = std::find_if(components_.begin(), components_.end(),
                               [&](VbaComponent& c) { return &c.module() == m; });
        if (!project_->remove(code_name, true)) return;
        if (it != components_.end()) retired_.splice(retired_.end(), components_, it);
        changed();
    }

    // VBComponents
    int count() override { return static_cast<int>(components_.size()); }
    xl::VBComponent* item(int index) override {
        if (index < 1 || index > count()) return nullptr;
        return &*std::next(components_.begin(), index - 1);
    }
    xl::VBComponent* item(std::string_view name) override {
        for (VbaComponent& c : components_)
            if (text::upper(c.name()) == text::upper(name)) return &c;
        return nullptr;
    }
    Result<xl::VBComponent*> import_file(const std::string& path) override;
    Result<xl::VBComponent*> copy_from(xl::VBComponent& component) override;
    Result<void> remove(xl::VBComponent& component) override {
        if (!project_) return refused("このブックにはマクロがありません。");
        auto it = std::find_if(components_.begin(), components_.end(),
                               [&](VbaComponent& c) { return &c == &component; });
        if (it == components_.end()) return refused("そのモジュールはこのブックにありません。");
        if (auto r = project_->remove(it->name()); !r) return r;
        retired_.splice(retired_.end(), components_, it);
        changed();
        return {};
    }

    vba::Project& project() { return *project_; }
    void changed() {
        dirty_ = true;
        book_.set_saved(false);
    }

    // Writes the changed project into the package and drops the signature parts, which no
    // longer match it.
    Result<void> flush() {
        if (!dirty_ || !project_) return {};
        // Only a macro-enabled package holds a project: a workbook saved as .xlsx goes without.
        auto types = book_.content_types();
        if (!types) return types.error();
        std::string main = (*types)->type_of(book_.workbook_part_name());
        if (main != ctype::kWorkbookMacro && main != ctype::kTemplateMacro) return {};
        auto bytes = project_->serialize();
        if (!bytes) return bytes.error();
        Package& pkg = book_.package();
        if (created_) {
            book_.workbook_rels().add(rel::kVbaProject,
                                      relative_target(book_.workbook_part_name(), part_));
            (*types)->set_override(part_, ctype::kVbaProject);
            created_ = false;
        }
        pkg.write(part_, std::move(*bytes));
        std::string rels_part = rels_path_for(part_);
        if (pkg.has(rels_part)) {
            auto rels_bytes = pkg.read(rels_part);
            Relationships rels;
            if (rels_bytes && rels.parse(*rels_bytes, rels_part)) {
                auto ct = book_.content_types();
                for (const auto& item : rels.items()) {
                    if (item.type.find(kSignatureRel) == std::string::npos) continue;
                    if (!item.external) {
                        std::string target = resolve_target(part_, item.target);
                        pkg.remove(target);
                        if (ct) (*ct)->remove_override(target);
                    }
                    rels.remove_id(item.id);
                }
                if (rels.dirty()) {
                    if (rels.items().empty())
                        pkg.remove(rels_part);
                    else
                        pkg.write(rels_part, rels.serialize());
                }
            }
        }
        dirty_ = false;
        return {};
    }

private:
    Book& book_;
    std::string part_;  // "" when the workbook has no project
    std::optional<vba::Project> project_;
    std::list<VbaComponent> components_;
    std::list<VbaComponent> retired_;  // removed components: callers may still hold them
    bool dirty_ = false;
    bool created_ = false;  // made here: the part, its relationship and its type are still to come
};

Result<void> VbaBinding::create(xl::VBProject* model) {
    if (project_) return refused("このブックには既に VBA プロジェクトがあります。");
    const vba::Project* base = nullptr;
    if (auto* other = dynamic_cast<VbaBinding*>(model); other && other->exists())
        base = &other->project();
    // Modules are named by code names: every sheet and the workbook get one first.
    for (auto& sheet : book_.sheets()) {
        if (sheet->kind() != SheetKind::Worksheet && sheet->kind() != SheetKind::Chart) continue;
        if (sheet->code_name().empty())
            if (auto r = sheet->set_code_name(structure::new_code_name(book_)); !r) return r;
    }
    std::string workbook = book_.workbook_part().code_name();
    if (workbook.empty()) {
        workbook = "ThisWorkbook";
        book_.workbook_part().set_code_name(workbook);
    }
    project_ = vba::Project::create(base);
    if (auto m = project_->add_document(workbook, vba::kWorkbookBase); !m) {
        project_.reset();
        return m.error();
    }
    components_.emplace_back(*this, project_->modules().back());
    for (auto& sheet : book_.sheets())
        if (sheet->kind() == SheetKind::Worksheet || sheet->kind() == SheetKind::Chart)
            sheet_added(*sheet);
    std::string folder = book_.workbook_part_name().substr(0, book_.workbook_part_name().rfind('/') + 1);
    part_ = folder + "vbaProject.bin";
    created_ = true;
    changed();
    return {};
}

void VbaComponent::changed() {
    module_->changed = true;
    binding_.changed();
}

const vba::Project& VbaComponent::source_project() const { return binding_.project(); }

Result<void> VbaComponent::set_name(const std::string& name) {
    if (name == module_->name) return {};
    if (auto r = binding_.project().rename(module_->name, name); !r) return r;
    binding_.changed();
    return {};
}

Result<void> VbaComponent::export_file(const std::string& path) {
    std::string bytes;
    switch (module_->type) {
        case xl::vbext_ct_StdModule:
            break;
        case xl::vbext_ct_ClassModule:
        case xl::vbext_ct_Document:
            bytes = "VERSION 1.0 CLASS\r\nBEGIN\r\n  MultiUse = -1  'True\r\nEND\r\n";
            break;
        case xl::vbext_ct_MSForm: {
            // The designer goes beside it as <same name>.frx, which the .frm names.
            const std::size_t slash = path.rfind('/');
            const std::size_t dot = path.rfind('.');
            const bool has_ext = dot != std::string::npos && (slash == std::string::npos || dot > slash);
            const std::string frx = (has_ext ? path.substr(0, dot) : path) + ".frx";
            auto files = binding_.project().form_files(
                *module_, slash == std::string::npos ? frx : frx.substr(slash + 1));
            if (!files) return files.error();
            if (auto r = file::write_all(frx, files->frx); !r) return r;
            return file::write_all(path, files->frm);
        }
        default:
            return refused("デザイナー「" + module_->name + "」はエクスポートできません。");
    }
    bytes += binding_.project().source_bytes(*module_);
    return file::write_all(path, bytes);
}

Result<void> VbaComponent::delete_lines(int start, int count) {
    if (count <= 0) return {};
    std::vector<std::size_t> v = visible();
    if (start < 1 || start + count - 1 > static_cast<int>(v.size()))
        return refused("削除する行がモジュール「" + module_->name + "」の範囲外です。");
    auto& code = module_->code;
    std::size_t first = v[static_cast<std::size_t>(start - 1)];
    bool to_end = start + count - 1 == static_cast<int>(v.size());
    std::size_t last = to_end ? code.size() : v[static_cast<std::size_t>(start + count - 1)];
    code.erase(code.begin() + static_cast<std::ptrdiff_t>(first),
               code.begin() + static_cast<std::ptrdiff_t>(last));
    changed();
    return {};
}

Result<void> VbaComponent::insert_lines(int line, const std::string& code) {
    if (line < 1) return refused("挿入する行の番号が正しくありません。");
    std::vector<std::string> added = vba::split_lines(code);
    if (code.empty()) added.push_back("");
    std::vector<std::size_t> v = visible();
    std::size_t at = line - 1 < static_cast<int>(v.size()) ? v[static_cast<std::size_t>(line - 1)]
                                                           : module_->code.size();
    module_->code.insert(module_->code.begin() + static_cast<std::ptrdiff_t>(at), added.begin(),
                         added.end());
    changed();
    return {};
}

Result<void> VbaComponent::add_from_file(const std::string& path) {
    auto lines = read_module_file(path);
    if (!lines) return lines.error();
    std::size_t at = first_procedure(module_->code);
    module_->code.insert(module_->code.begin() + static_cast<std::ptrdiff_t>(at), lines->begin(),
                         lines->end());
    changed();
    return {};
}

Result<xl::VBComponent*> VbaBinding::import_file(const std::string& path) {
    if (!project_)
        return refused("このブックには VBA プロジェクトがないため、マクロをインポートできません。");
    auto lines = read_module_file(path);
    if (!lines) return lines.error();
    std::vector<std::string>& l = *lines;
    int type = xl::vbext_ct_StdModule;
    std::size_t at = 0;
    if (!l.empty() && starts_with_ci(text::trim(l[0]), "VERSION ")) {
        if (!starts_with_ci(text::trim(l[0]), "VERSION 1.0 CLASS"))
            return refused("フォームのファイル「" + path + "」はインポートできません。");
        type = xl::vbext_ct_ClassModule;
        // The class header up to its END line is not part of the module.
        while (at < l.size() && text::upper(text::trim(l[at])) != "END") ++at;
        if (at == l.size()) return refused("クラスのファイル「" + path + "」の見出しが壊れています。");
        ++at;
    }
    std::vector<std::string> attributes;
    std::string name;
    while (at < l.size() && starts_with_ci(l[at], "Attribute ")) {
        if (starts_with_ci(l[at], "Attribute VB_Name")) {
            std::size_t q1 = l[at].find('"'), q2 = l[at].find('"', q1 + 1);
            if (q1 != std::string::npos && q2 != std::string::npos)
                name = l[at].substr(q1 + 1, q2 - q1 - 1);
        }
        attributes.push_back(l[at++]);
    }
    std::string base = name.empty() ? (type == 1 ? "Module" : "Class") : name;
    // A name in use gets the first free number, as the editor names an imported copy.
    std::string unique = name;
    for (int n = 1; unique.empty() || project_->find(unique); ++n) unique = base + std::to_string(n);
    std::string name_line = "Attribute VB_Name = \"" + unique + "\"";
    auto named = std::find_if(attributes.begin(), attributes.end(), [](const std::string& a) {
        return starts_with_ci(a, "Attribute VB_Name");
    });
    if (named != attributes.end())
        *named = name_line;
    else
        attributes.insert(attributes.begin(), name_line);
    std::vector<std::string> code(l.begin() + static_cast<std::ptrdiff_t>(at), l.end());
    auto added = project_->add(type, unique, std::move(attributes), std::move(code));
    if (!added) return added.error();
    components_.emplace_back(*this, **added);
    changed();
    return static_cast<xl::VBComponent*>(&components_.back());
}

Result<xl::VBComponent*> VbaBinding::copy_from(xl::VBComponent& component) {
    if (!project_) return refused("このブックには VBA プロジェクトがありません。");
    auto* from = dynamic_cast<VbaComponent*>(&component);
    if (!from) return refused("そのモジュールはコピーできません。");
    const vba::Module& m = from->module();
    if (m.type != xl::vbext_ct_StdModule && m.type != xl::vbext_ct_ClassModule)
        return refused("モジュール「" + m.name + "」は標準モジュールでもクラスモジュールでもないため、コピーできません。");
    auto added = project_->add(m.type, m.name, m.attributes, m.code);
    if (!added) return added.error();
    project_->add_references_of(from->source_project());
    components_.emplace_back(*this, **added);
    changed();
    return static_cast<xl::VBComponent*>(&components_.back());
}

Result<xl::VBProject*> Book::vb_project() {
    // A new workbook is a package until it is saved: it may be given a project.
    if (format_ == Format::Csv)
        return Error::make(Error::Code::Unsupported, "このファイル形式にはマクロがありません。", full_name());
    if (!vba_) {
        std::string part;
        if (auto item = workbook_rels_.by_type(rel::kVbaProject); item && !item->external)
            part = resolve_target(workbook_part_name_, item->target);
        if (!part.empty() && !package_->has(part)) part.clear();
        auto binding = std::make_shared<VbaBinding>(*this, part);
        if (auto r = binding->load(); !r) {
            Error e = r.error();
            e.path = full_name();
            return e;
        }
        vba_ = std::move(binding);
    }
    return static_cast<xl::VBProject*>(vba_.get());
}

Result<void> Book::rename_document_module(const std::string& old_code_name,
                                          const std::string& new_code_name) {
    auto project = vb_project();
    if (!project) return project.error();
    if (!vba_->exists()) return {};
    vba::Module* m = vba_->project().find(old_code_name);
    if (!m || m->type != xl::vbext_ct_Document) return {};
    if (auto r = vba_->project().rename(old_code_name, new_code_name); !r) return r;
    vba_->changed();
    return {};
}

void Book::document_module_added(const Sheet& sheet, Sheet* source) {
    if (!vba_ || !vba_->exists()) return;
    std::vector<std::string> code;
    if (source) {
        // The source's project is read only now that its code has somewhere to go; a project
        // that cannot be read leaves the copy's module empty.
        Book& from = static_cast<Book&>(source->parent());
        if (auto project = from.vb_project(); project && from.vba_->exists())
            if (vba::Module* m = from.vba_->project().find(source->code_name());
                m && m->type == xl::vbext_ct_Document && !source->code_name().empty())
                code = m->code;
    }
    vba_->sheet_added(sheet, std::move(code));
}

void Book::document_module_removed(const std::string& code_name) {
    if (vba_) vba_->sheet_removed(code_name);
}

Result<void> Book::flush_vba() { return vba_ ? vba_->flush() : Result<void>(); }

}  // namespace sheaflow::xl::native
