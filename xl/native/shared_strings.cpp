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
    items_.clear();
    spans_.clear();
    auto text = xml::to_utf8(std::move(xml_text));
    if (!text) return broken(part_name);
    source_ = std::move(*text);
    if (source_.size() >= 0xFFFFFFF0u) return broken(part_name);
    std::size_t si_begin = 0;
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
                if (local != "sst" || root_seen) return broken(part_name);
                root_seen = true;
                root_begin_ = t.begin;
                root_end_ = t.end;
                root_self_closing_ = t.self_closing;
                prefix_ = xml::main_prefix(t.attrs).value_or(std::string(xml::name_prefix(t.name)));
                if (t.self_closing) {
                    close_pos_ = t.end;
                    continue;
                }
            } else if (depth == 1 && local == "si") {
                current.clear();
                si_begin = t.begin;
                if (t.self_closing) {
                    items_.push_back({});
                    spans_.emplace_back(static_cast<std::uint32_t>(t.begin),
                                        static_cast<std::uint32_t>(t.end));
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
                spans_.emplace_back(static_cast<std::uint32_t>(si_begin),
                                    static_cast<std::uint32_t>(t.end));
                si_depth = -1;
            }
            if (depth == 0) close_pos_ = t.begin;
        } else if (t.kind == xml::Token::Kind::Text) {
            if (depth == 0 && !xml::is_space(t.text)) return broken(part_name);
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
    replaced_.assign(original_size_, false);
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
        lookup_ = std::make_unique<std::unordered_map<std::string_view, std::uint32_t>>();
        lookup_->reserve(items_.size() + 64);
        for (std::size_t i = 0; i < items_.size(); ++i)
            if (!rich_.count(static_cast<std::uint32_t>(i)))
                lookup_->emplace(items_[i], static_cast<std::uint32_t>(i));
    }
    auto it = lookup_->find(text);
    if (it != lookup_->end()) return it->second;
    auto index = static_cast<std::uint32_t>(items_.size());
    items_.emplace_back(text);
    lookup_->emplace(items_.back(), index);
    dirty_ = true;
    return index;
}

void SharedStrings::set_text(std::uint32_t index, const std::string& text) {
    if (index >= original_size_) return;
    lookup_.reset();  // views of the old text would dangle
    items_[index] = text;
    replaced_[index] = true;
    dirty_ = true;
}

std::vector<std::uint32_t> SharedStrings::compact_appended(const std::vector<bool>& keep) {
    std::vector<std::uint32_t> remap(items_.size());
    std::uint32_t next = static_cast<std::uint32_t>(original_size_);
    for (std::size_t i = 0; i < items_.size(); ++i) {
        if (i < original_size_) {
            remap[i] = static_cast<std::uint32_t>(i);
            continue;
        }
        std::size_t k = i - original_size_;
        if (k < keep.size() && !keep[k]) {
            remap[i] = 0;
            rich_.erase(static_cast<std::uint32_t>(i));
            continue;
        }
        remap[i] = next;
        if (next != i) {
            items_[next] = std::move(items_[i]);
            if (auto r = rich_.find(static_cast<std::uint32_t>(i)); r != rich_.end()) {
                std::string si = std::move(r->second);
                rich_.erase(r);
                rich_[next] = std::move(si);
            }
        }
        ++next;
    }
    items_.resize(next);
    lookup_.reset();
    return remap;
}

std::uint32_t SharedStrings::add_rich(std::string_view plain, const std::string& si) {
    for (const auto& [index, text] : rich_)
        if (text == si) return index;
    auto index = static_cast<std::uint32_t>(items_.size());
    items_.emplace_back(plain);
    rich_.emplace(index, si);
    dirty_ = true;
    return index;
}

std::string SharedStrings::entry_source(std::size_t index) const {
    if (index < original_size_ && !replaced_[index])
        return source_.substr(spans_[index].first, spans_[index].second - spans_[index].first);
    if (auto r = rich_.find(static_cast<std::uint32_t>(index)); r != rich_.end()) return r->second;
    return {};
}

std::string SharedStrings::entry_xml(const std::string& text) const {
    std::string out = "<" + prefix_;
    out += needs_preserve(text) ? "si><" + prefix_ + "t xml:space=\"preserve\">"
                                : "si><" + prefix_ + "t>";
    xml::escape_text(xml::encode_ooxml_escapes(text), out);
    out += "</" + prefix_ + "t></" + prefix_ + "si>";
    return out;
}

std::string SharedStrings::serialize() const {
    std::string added;
    for (std::size_t i = original_size_; i < items_.size(); ++i) {
        auto r = rich_.find(static_cast<std::uint32_t>(i));
        added += r != rich_.end() ? r->second : entry_xml(items_[i]);
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
        // The entries as read, those given a new text written anew.
        std::size_t pos = root_end_;
        for (std::size_t i = 0; i < original_size_; ++i) {
            if (!replaced_[i]) continue;
            out.append(source_, pos, spans_[i].first - pos);
            out += entry_xml(items_[i]);
            pos = spans_[i].second;
        }
        out.append(source_, pos, close_pos_ - pos);
        out += added;
        out.append(source_, close_pos_, std::string::npos);
    }
    return out;
}

}  // namespace sheaflow::xl::native
