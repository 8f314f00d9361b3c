#include "xl/native/styles.h"

#include "xl/native/numfmt.h"

namespace sheaflow::xl::native {

Result<void> Styles::parse(std::string_view bytes, const std::string& part_name) {
    if (auto r = xml::load(doc_, bytes, part_name); !r) return r;
    xf_num_fmt_.clear();
    xf_quote_.clear();
    custom_.clear();
    codes_.clear();
    compiled_.clear();
    for (pugi::xml_node n = xml::child(root(), "numFmts").first_child(); n; n = n.next_sibling())
        if (xml::local_name(n.name()) == "numFmt")
            custom_[n.attribute("numFmtId").as_int(-1)] = n.attribute("formatCode").value();
    for (pugi::xml_node n = xml::child(root(), "cellXfs").first_child(); n; n = n.next_sibling()) {
        if (xml::local_name(n.name()) != "xf") continue;
        xf_num_fmt_.push_back(n.attribute("numFmtId").as_int(0));
        std::string_view q = n.attribute("quotePrefix").value();
        xf_quote_.push_back(q == "1" || q == "true");
    }
    date_.assign(xf_num_fmt_.size(), -1);
    dirty_ = false;
    return {};
}

int Styles::num_fmt_id(std::uint32_t xf) const {
    return xf < xf_num_fmt_.size() ? xf_num_fmt_[xf] : 0;
}

const std::string& Styles::format_code(std::uint32_t xf) const {
    int id = num_fmt_id(xf);
    auto it = codes_.find(id);
    if (it != codes_.end()) return it->second;
    std::string code;
    if (auto c = custom_.find(id); c != custom_.end())
        code = c->second;
    else
        code = numfmt::builtin_code(id);
    if (code.empty()) code = "General";
    return codes_.emplace(id, std::move(code)).first->second;
}

bool Styles::is_date(std::uint32_t xf) const {
    if (xf >= date_.size()) return false;
    if (date_[xf] < 0) date_[xf] = numfmt::is_date_code(format_code(xf)) ? 1 : 0;
    return date_[xf] == 1;
}

const numfmt::CompiledFormat& Styles::compiled(std::uint32_t xf) const {
    int id = num_fmt_id(xf);
    auto it = compiled_.find(id);
    if (it == compiled_.end())
        it = compiled_.emplace(id, numfmt::CompiledFormat::compile(format_code(xf))).first;
    return it->second;
}

bool Styles::shows_text_as_is(std::uint32_t xf) const {
    const std::string& code = format_code(xf);
    return code == "General" || code == "@";
}

bool Styles::quote_prefix(std::uint32_t xf) const { return xf < xf_quote_.size() && xf_quote_[xf]; }

}  // namespace sheaflow::xl::native
