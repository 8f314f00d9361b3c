#include "xl/native/shared_strings.h"

#include <charconv>

#include "xl/native/xml.h"

namespace sheaflow::xl::native {

namespace {

const std::string kEmpty;

Error broken(const std::string& part) {
    return Error::make(Error::Code::BadFormat, "ブックの部品「" + part + "」が壊れています。",
                       part);
}

bool needs_preserve(std::string_view s) {
    if (s.empty()) return false;
    auto ws = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    return ws(s.front()) || ws(s.back());
}

}  // namespace

Result<void> SharedStrings::parse(std::string xml_text, const std::string& part_name) {
    source_ = std::move(xml_text);
    items_.clear();
    xml::Scanner sc(source_);
    // Depth-tracked walk: <sst><si>(<t>|<r><t>|<rPh>...)</si></sst>.
    int depth = 0;
    int si_depth = -1;    // depth of the open <si>
    int t_depth = -1;     // depth of an open <t> that counts
    int skip_depth = -1;  // depth of an open <rPh> or <phoneticPr>
    bool root_seen = false;
    std::string current;
    std::string raw_text;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof) break;
        if (t.kind == xml::Token::Kind::Error) return broken(part_name);
        if (t.kind == xml::Token::Kind::Start) {
            std::string_view local = xml::local_name(t.name);
            if (depth == 0) {
                if (local != "sst") return broken(part_name);
                root_seen = true;
                root_begin_ = t.begin;
                root_end_ = t.end;
                root_self_closing_ = t.self_closing;
                auto colon = t.name.find(':');
                prefix_ =
                    colon == std::string_view::npos ? "" : std::string(t.name.substr(0, colon + 1));
                if (t.self_closing) {
                    close_pos_ = t.end;
                    continue;
                }
            } else if (depth == 1 && local == "si") {
                current.clear();
                if (t.self_closing) {
                    items_.push_back({});
                    continue;
                }
                si_depth = depth;
            } else if (si_depth >= 0 && skip_depth < 0) {
                if (local == "rPh" || local == "phoneticPr") {
                    if (!t.self_closing) skip_depth = depth;
                } else if (local == "t" && !t.self_closing) {
                    t_depth = depth;
                }
            }
            if (!t.self_closing) ++depth;
        } else if (t.kind == xml::Token::Kind::End) {
            --depth;
            if (depth < 0) return broken(part_name);
            if (depth == skip_depth) skip_depth = -1;
            if (depth == t_depth) t_depth = -1;
            if (depth == si_depth) {
                items_.push_back(xml::decode_ooxml_escapes(current));
                si_depth = -1;
            }
            if (depth == 0) close_pos_ = t.begin;
        } else if (t.kind == xml::Token::Kind::Text) {
            if (t_depth >= 0 && skip_depth < 0) {
                if (t.cdata)
                    current.append(t.text);
                else
                    xml::unescape(t.text, current);
            }
        }
    }
    if (!root_seen || depth != 0) return broken(part_name);
    original_size_ = items_.size();
    dirty_ = false;
    count_delta_ = 0;
    lookup_.reset();
    return {};
}

const std::string& SharedStrings::at(std::size_t index) const {
    return index < items_.size() ? items_[index] : kEmpty;
}

std::uint32_t SharedStrings::intern(std::string_view text) {
    if (!lookup_) {
        lookup_ = std::make_unique<std::unordered_map<std::string, std::uint32_t>>();
        lookup_->reserve(items_.size());
        for (std::size_t i = 0; i < items_.size(); ++i)
            lookup_->emplace(items_[i], static_cast<std::uint32_t>(i));
    }
    std::string key(text);
    auto it = lookup_->find(key);
    if (it != lookup_->end()) return it->second;
    auto index = static_cast<std::uint32_t>(items_.size());
    items_.push_back(key);
    lookup_->emplace(std::move(key), index);
    dirty_ = true;
    return index;
}

std::string SharedStrings::serialize() const {
    std::string added;
    for (std::size_t i = original_size_; i < items_.size(); ++i) {
        added += '<';
        added += prefix_;
        added += needs_preserve(items_[i]) ? "si><" + prefix_ + "t xml:space=\"preserve\">"
                                           : "si><" + prefix_ + "t>";
        xml::escape_text(xml::encode_ooxml_escapes(items_[i]), added);
        added += "</" + prefix_ + "t></" + prefix_ + "si>";
    }
    if (source_.empty()) {
        std::string out =
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<sst "
            "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" count=\"" +
            std::to_string(count_delta_ < 0 ? 0 : count_delta_) + "\" uniqueCount=\"" +
            std::to_string(items_.size()) + "\">";
        return out + added + "</sst>";
    }
    // Patch count and uniqueCount in the root start tag; everything else stays as read.
    std::string_view tag(source_.data() + root_begin_, root_end_ - root_begin_);
    auto name_end = tag.find_first_of(" \t\r\n/>");
    std::string_view name = tag.substr(1, name_end - 1);
    std::string_view attrs =
        tag.substr(name_end, tag.size() - name_end - (root_self_closing_ ? 2 : 1));
    std::string new_attrs(attrs);
    if (auto count = xml::find_attr(attrs, "count")) {
        long long c = 0;
        std::from_chars(count->data(), count->data() + count->size(), c);
        c += count_delta_;
        if (c < 0) c = 0;
        new_attrs = xml::set_attr(new_attrs, "count", std::to_string(c));
    }
    if (xml::find_attr(attrs, "uniqueCount"))
        new_attrs = xml::set_attr(new_attrs, "uniqueCount", std::to_string(items_.size()));
    std::string out;
    out.reserve(source_.size() + added.size() + 64);
    out.append(source_, 0, root_begin_);
    out += '<';
    out.append(name);
    out += new_attrs;
    out += '>';
    if (root_self_closing_) {
        out += added;
        out += "</";
        out.append(name);
        out += '>';
        out.append(source_, root_end_, std::string::npos);
    } else {
        out.append(source_, root_end_, close_pos_ - root_end_);
        out += added;
        out.append(source_, close_pos_, std::string::npos);
    }
    return out;
}

}  // namespace sheaflow::xl::native
