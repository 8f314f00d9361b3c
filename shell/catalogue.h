#pragma once
// The operation catalogue: the fixed, ordered table of operation declarations (separator rows
// included), each row with its last-used time, and the searches over it.

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "shell/operation.h"

namespace sheaflow::shell {

using Clock = std::chrono::system_clock;

// Every declaration in catalogue order (built once; the addresses are stable).
const std::vector<OperationDecl>& declarations();
// The operations that own parameter files, in the order Text_Update reads and writes them.
const std::vector<const OperationDecl*>& text_update_order();
// The declaration whose pane and parameter files `decl` uses: itself, or for an all-sheets row
// that shares them, the row of the same name in the base category.
const OperationDecl& params_owner(const OperationDecl& decl);
// The declaration of (category, name), the name compared upper-cased; separators are not
// operations and are never found. nullptr when none.
const OperationDecl* find_declaration(std::string_view category, std::string_view name);

class Catalogue {
public:
    struct Row {
        const OperationDecl* decl;
        Clock::time_point last_used;
    };

    // List1_Start_Process without the settings file: one row per declaration, stamped now.
    Catalogue();

    const std::vector<Row>& rows() const { return rows_; }
    std::vector<Row>& rows() { return rows_; }
    // Categories in the order in which they first appear.
    std::vector<std::string> categories() const;
    // The rows of a category, separators included, in table order.
    std::vector<const Row*> rows_of(std::string_view category) const;
    // The declaration whose category equals `category` and whose name, upper-cased, equals
    // `name` upper-cased; nullptr when none (separators are never found).
    const OperationDecl* find(std::string_view category, std::string_view name) const {
        return find_declaration(category, name);
    }
    // List1_DayTime_Search: the most recently used row of the category ("" = all rows); among
    // equal times the first in table order. nullptr when no row qualifies.
    const Row* most_recent(std::string_view category) const;
    // Sets the last-used time of the row of this pair (compared upper-cased); false when no row
    // has it.
    bool stamp(std::string_view category, std::string_view name, Clock::time_point when);

private:
    std::vector<Row> rows_;
};

}  // namespace sheaflow::shell
