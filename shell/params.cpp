#include "shell/params.h"

#include "util/text.h"

namespace sheaflow::shell {

const std::string& Params::text(std::string_view key) const {
    static const std::string kEmpty;
    for (std::size_t i = 0; i < decl_->fields.size(); ++i)
        if (decl_->fields[i].key == key)
            return i < values_->values.size() ? values_->values[i] : kEmpty;
    return kEmpty;
}

std::vector<std::string> Params::list(std::string_view key) const {
    const std::string& t = text(key);
    if (t.empty()) return {};
    return text::split(t, "\t");
}

}  // namespace sheaflow::shell
