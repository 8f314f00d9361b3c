#pragma once
// The values of one operation's pane, as read from and written to its parameter files.

#include <string>
#include <string_view>
#include <vector>

#include "shell/operation.h"

namespace sheaflow::shell {

inline constexpr int kHistorySize = 40;

struct PaneValues {
    std::vector<std::string> values;                  // one per field, in field order
    std::vector<std::vector<std::string>> histories;  // one per history file, kHistorySize each
};

// Read access by key for checks and operations.
class Params {
public:
    Params(const OperationDecl& decl, const PaneValues& values) : decl_(&decl), values_(&values) {}
    const OperationDecl& decl() const { return *decl_; }
    // The field's text ("" for an unknown key).
    const std::string& text(std::string_view key) const;
    bool check(std::string_view key) const { return text(key) == "1"; }
    // The chosen option's value word, "" when none is chosen.
    const std::string& option(std::string_view key) const { return text(key); }
    // A sheet list's selected entries.
    std::vector<std::string> list(std::string_view key) const;

private:
    const OperationDecl* decl_;
    const PaneValues* values_;
};

}  // namespace sheaflow::shell
