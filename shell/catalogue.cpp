#include "shell/catalogue.h"

#include <chrono>

#include "util/text.h"

namespace sheaflow::shell {

const OperationDecl& params_owner(const OperationDecl& decl) {
    if (!decl.shares_base) return decl;
    std::string_view base = decl.category;
    std::string_view prefix = kAllSheetsPrefix;
    if (base.substr(0, prefix.size()) == prefix) base.remove_prefix(prefix.size());
    for (const OperationDecl& d : declarations())
        if (d.category == base && d.key_name == decl.key_name && !d.shares_base) return d;
    return decl;
}

const OperationDecl* find_declaration(std::string_view category, std::string_view name) {
    const std::string key = text::upper(name);
    for (const OperationDecl& d : declarations())
        if (!d.is_separator() && d.category == category && d.key_name == key) return &d;
    return nullptr;
}

Catalogue::Catalogue() {
    // The desktop program stamps every row with the same clock second, so that with no
    // "List.txt" the first row of each category is the most recent one.
    const auto now = std::chrono::floor<std::chrono::seconds>(Clock::now());
    rows_.reserve(declarations().size());
    for (const OperationDecl& d : declarations()) rows_.push_back(Row{&d, now});
}

std::vector<std::string> Catalogue::categories() const {
    std::vector<std::string> out;
    for (const Row& r : rows_)
        if (out.empty() || out.back() != r.decl->category) out.push_back(r.decl->category);
    return out;
}

std::vector<const Catalogue::Row*> Catalogue::rows_of(std::string_view category) const {
    std::vector<const Row*> out;
    for (const Row& r : rows_)
        if (r.decl->category == category) out.push_back(&r);
    return out;
}

const Catalogue::Row* Catalogue::most_recent(std::string_view category) const {
    const Row* best = nullptr;
    for (const Row& r : rows_) {
        if (!category.empty() && r.decl->category != category) continue;
        // Strictly later only: among equal times the first row in table order stays.
        if (best == nullptr || best->last_used < r.last_used) best = &r;
    }
    return best;
}

bool Catalogue::stamp(std::string_view category, std::string_view name, Clock::time_point when) {
    const std::string cat = text::upper(category);
    const std::string key = text::upper(name);
    for (Row& r : rows_) {
        if (text::upper(r.decl->category) == cat && r.decl->key_name == key) {
            r.last_used = when;
            return true;
        }
    }
    return false;
}

}  // namespace sheaflow::shell
