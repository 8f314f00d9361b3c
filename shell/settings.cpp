#include "shell/settings.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

#include "shell/param_file.h"
#include "util/datetime.h"
#include "util/file.h"
#include "util/text.h"

namespace sheaflow::shell {
namespace {

bool writable(const std::string& dir) { return ::access(dir.c_str(), W_OK | X_OK) == 0; }

// A state line of a check box or option button: 1 or 0; nullopt-like -1 when it is neither.
int truth(std::string_view raw) {
    std::string v = text::upper(text::trim(raw));
    if (v == "1" || v == "-1" || v == "TRUE" || v == "#TRUE#") return 1;
    if (v == "0" || v == "FALSE" || v == "#FALSE#") return 0;
    return -1;
}

// Values are single lines in the files: a line break inside one would shift every later line.
std::string one_line(std::string_view v) {
    std::string out(v);
    for (char& c : out)
        if (c == '\r' || c == '\n') c = ' ';
    return out;
}

PaneValues defaults(const OperationDecl& d) {
    PaneValues v;
    for (const Field& f : d.fields) v.values.push_back(f.default_value);
    v.histories.assign(d.history_slots(), std::vector<std::string>(kHistorySize));
    return v;
}

// Every run writes the files of every operation: a file that would get the bytes it already
// holds is left as it is.
Result<void> write_changed(const std::string& path, const std::string& bytes) {
    std::string old;
    if (file::read_all(path, old) && old == bytes) return {};
    return file::write_all(path, bytes);
}

const std::string kNotFoundOpen = "「";
const std::string kNotFoundClose = "」はありません。";

}  // namespace

std::string parameter_folder(const std::string& override_dir, const std::string& program_dir) {
    std::string dir = override_dir;
    if (dir.empty()) {
        if (const char* env = std::getenv("SHEAFLOW_PARAM_DIR"); env != nullptr && *env != '\0')
            dir = env;
    }
    if (dir.empty() && !program_dir.empty()) {
        const std::string candidate = file::join(program_dir, "Temp");
        if (file::is_directory(candidate) ? writable(candidate) : writable(program_dir))
            dir = candidate;
    }
    if (dir.empty()) {
        std::string base;
        if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && *xdg != '\0')
            base = xdg;
        else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
            base = file::join(home, ".config");
        else
            base = ".config";
        dir = file::join(file::join(base, "sheaflow"), "Temp");
    }
    file::make_directories(dir);
    return dir;
}

// ---- ParameterStore -------------------------------------------------------------------------

ParameterStore::ParameterStore() {
    for (const OperationDecl& d : declarations())
        if (!d.is_separator() && !d.shares_base) values_.emplace(&d, defaults(d));
}

PaneValues& ParameterStore::values(const OperationDecl& decl) {
    const OperationDecl& owner = params_owner(decl);
    auto it = values_.find(&owner);
    if (it == values_.end()) it = values_.emplace(&owner, defaults(owner)).first;
    return it->second;
}

const PaneValues& ParameterStore::values(const OperationDecl& decl) const {
    static const PaneValues kEmpty;
    auto it = values_.find(&params_owner(decl));
    return it == values_.end() ? kEmpty : it->second;
}

bool ParameterStore::set(const OperationDecl& decl, std::string_view key, std::string_view value,
                         std::string& message) {
    const OperationDecl& owner = params_owner(decl);
    PaneValues& pv = values(owner);
    for (std::size_t i = 0; i < owner.fields.size(); ++i) {
        const Field& f = owner.fields[i];
        if (f.key != key) continue;
        if (value.find_first_of("\r\n") != std::string_view::npos) {
            message = "「" + f.key + "」の値に改行は使えません。";
            return false;
        }
        std::string v(value);
        switch (f.kind) {
            case FieldKind::Check: {
                std::string w = text::lower(text::trim(v));
                if (w == "1" || w == "true" || w == "on" || w == "yes") {
                    v = "1";
                } else if (w == "0" || w == "false" || w == "off" || w == "no") {
                    v = "0";
                } else {
                    message = "「" + f.key + "」には 1 か 0 を指定してください。";
                    return false;
                }
                break;
            }
            case FieldKind::Option: {
                std::string w = text::trim(v);
                bool ok = w.empty();
                for (const Choice& c : f.choices)
                    if (c.key == w || c.caption == w) {
                        w = c.key;
                        ok = true;
                    }
                if (!ok) {
                    std::string words;
                    for (const Choice& c : f.choices) words += (words.empty() ? "" : ", ") + c.key;
                    message = "「" + f.key + "」には次のいずれかを指定してください: " + words;
                    return false;
                }
                v = w;
                break;
            }
            case FieldKind::Number: {
                std::string w = text::trim(text::narrow(v));
                if (!w.empty()) {
                    char* end = nullptr;
                    std::strtod(w.c_str(), &end);
                    if (end == w.c_str() || *end != '\0') {
                        message = "「" + f.key + "」には数値を指定してください。";
                        return false;
                    }
                }
                v = w;
                break;
            }
            default:
                break;
        }
        if (pv.values.size() < owner.fields.size()) pv.values.resize(owner.fields.size());
        pv.values[i] = std::move(v);
        return true;
    }
    message = "「" + std::string(key) + "」という設定項目はありません。";
    return false;
}

void ParameterStore::read_main(const OperationDecl& d, const std::string& path,
                               const std::function<void(const std::string&)>& message) {
    // A missing main file is created empty, so that the operation has one from now on.
    if (!file::exists(path)) (void)file::write_all(path, "");
    std::string bytes;
    if (!file::read_all(path, bytes)) {
        if (message) message(kNotFoundOpen + path + kNotFoundClose);
        return;
    }
    std::string text;
    if (!decode(bytes, text)) return;  // neither code page 932 nor UTF-8: keep the defaults
    const auto records = read_records(text);
    PaneValues& pv = values(d);
    pv.values.resize(d.fields.size());
    auto line = [&](std::size_t k) -> const std::string* {
        if (k >= records.size() || records[k].empty()) return nullptr;
        return &records[k][0];
    };
    std::size_t k = 0;
    for (std::size_t i = 0; i < d.fields.size(); ++i) {
        const Field& f = d.fields[i];
        if (f.stored_in >= 0) continue;
        const auto n = static_cast<std::size_t>(OperationDecl::line_count(f));
        // Each assignment is guarded: a line that is missing or does not fit leaves the default.
        if (f.kind == FieldKind::Option) {
            bool any = false;
            std::string chosen;
            for (std::size_t b = 0; b < n; ++b) {
                const std::string* v = line(k + b);
                if (v == nullptr) continue;
                int t = truth(*v);
                if (t < 0) continue;
                any = true;
                if (t == 1 && chosen.empty()) chosen = f.choices[b].key;
            }
            if (any) pv.values[i] = chosen;
        } else if (const std::string* v = line(k)) {
            if (f.kind == FieldKind::Check) {
                int t = truth(*v);
                if (t >= 0) pv.values[i] = t == 1 ? "1" : "0";
            } else {
                pv.values[i] = f.reduce_quotes ? reduce_quotes(*v) : *v;
            }
        }
        k += n;
    }
}

std::string ParameterStore::main_text(const OperationDecl& d) const {
    const PaneValues& pv = values(d);
    std::string out;
    for (std::size_t i = 0; i < d.fields.size(); ++i) {
        const Field& f = d.fields[i];
        if (f.stored_in >= 0) continue;
        const std::string v = i < pv.values.size() ? one_line(pv.values[i]) : f.default_value;
        if (f.kind == FieldKind::Option) {
            for (const Choice& c : f.choices) out += (c.key == v ? "1" : "0") + std::string("\r\n");
        } else if (f.kind == FieldKind::Check) {
            out += (v == "1" ? "1" : "0") + std::string("\r\n");
        } else {
            out += (d.plain ? v : quoted(v, false)) + "\r\n";
        }
    }
    return out;
}

void ParameterStore::text_update(char mode, const std::string& folder,
                                 const std::function<void(const std::string&)>& message) {
    std::set<std::string> registered;
    std::string write_failure;
    // Text_Update_ParamFileName_Process: the full path, and the duplicate check over one pass.
    auto path_of = [&](const std::string& name) {
        if (!registered.insert(text::upper(name)).second && message)
            message("パレメータファイル名＝" + name + "\r\nが重複してます。");
        return file::join(folder, name);
    };
    for (const OperationDecl* d : text_update_order()) {
        PaneValues& pv = values(*d);
        const std::string main_path = path_of(d->main_file);
        if (mode == 'R') {
            read_main(*d, main_path, message);
        } else if (!d->fields.empty()) {
            // An operation whose pane is not declared yet keeps its file as it is.
            if (auto r = write_changed(main_path, encode(main_text(*d)));
                !r && write_failure.empty())
                write_failure = main_path;
        }
        pv.histories.resize(d->history_slots(), std::vector<std::string>(kHistorySize));
        for (std::size_t h = 0; h < d->history_files.size(); ++h) {
            const std::string path = path_of(d->history_files[h]);
            if (!history_update(*d, h, mode, path) && write_failure.empty()) write_failure = path;
        }
        for (std::size_t e = 0; e < d->extra_files.size(); ++e)
            if (!own_file_update(*d, e, mode, path_of(d->extra_files[e])) && write_failure.empty())
                write_failure = file::join(folder, d->extra_files[e]);
    }
    if (!write_failure.empty() && message)
        message("パラメータファイルを書き込めませんでした。\r\n「" + write_failure + "」");
}

bool ParameterStore::history_update(const OperationDecl& d, std::size_t slot, char mode,
                                    const std::string& path) {
    std::vector<std::string>& history = values(d).histories[slot];
    if (mode == 'R') {
        std::string bytes, text;
        history = read_history(file::read_all(path, bytes) && decode(bytes, text)
                                   ? std::string_view(text)
                                   : std::string_view());
        return true;
    }
    // The newest values of the fields that name this list go on top, the last field's first so
    // that the first field's ends on top. With no field the list is only closed up.
    const PaneValues& pv = values(d);
    std::vector<std::string> newest;
    for (std::size_t i = 0; i < d.fields.size() && i < pv.values.size(); ++i)
        if (d.fields[i].history == static_cast<int>(slot)) newest.push_back(one_line(pv.values[i]));
    if (newest.empty()) newest.emplace_back();
    for (auto v = newest.rbegin(); v != newest.rend(); ++v) history = push_history(history, *v);
    return static_cast<bool>(write_changed(path, encode(history_text(history))));
}

bool ParameterStore::own_file_update(const OperationDecl& d, std::size_t extra, char mode,
                                     const std::string& path) {
    // An extra file keeps the history that the drop-downs of some fields share, or the values of
    // the fields stored in it, one line each in pane order; other extra files belong to the
    // operation's procedures and are left alone here.
    const std::size_t slot = d.history_files.size() + extra;
    auto names = [&](const Field& f) { return f.history == static_cast<int>(slot); };
    if (std::any_of(d.fields.begin(), d.fields.end(), names))
        return history_update(d, slot, mode, path);
    PaneValues& pv = values(d);
    pv.values.resize(d.fields.size());
    std::vector<std::size_t> stored;
    for (std::size_t i = 0; i < d.fields.size(); ++i)
        if (d.fields[i].stored_in == static_cast<int>(extra)) stored.push_back(i);
    if (stored.empty()) return true;
    if (mode == 'R') {
        if (!file::exists(path)) return static_cast<bool>(file::write_all(path, ""));
        std::string bytes, text;
        // Neither code page 932 nor UTF-8: the fields keep their defaults.
        if (!file::read_all(path, bytes) || !decode(bytes, text)) return true;
        const auto records = read_records(text);
        for (std::size_t k = 0; k < stored.size() && k < records.size(); ++k)
            if (!records[k].empty()) pv.values[stored[k]] = records[k][0];
        return true;
    }
    std::string out;
    for (std::size_t i : stored) out += quoted(one_line(pv.values[i]), false) + "\r\n";
    return static_cast<bool>(write_changed(path, encode(out)));
}

// ---- Settings files -------------------------------------------------------------------------

namespace {

// The first line of a settings file, decoded; "" when the file is missing or unreadable.
std::string first_line(const std::string& path) {
    std::string bytes, text;
    if (!file::read_all(path, bytes) || !decode(bytes, text)) return {};
    std::size_t end = text.find('\n');
    std::string line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

}  // namespace

std::string Dir_Read(const std::string& param_folder) {
    // The whole line is the folder (a folder name may hold a comma); a quoted line, as the write
    // statement would leave it, loses its quotes.
    std::string line = first_line(file::join(param_folder, "Folder.txt"));
    if (line.size() >= 2 && line.front() == '"' && line.back() == '"')
        line = line.substr(1, line.size() - 2);
    return line;
}

void Dir_Write(const std::string& param_folder, const std::string& target_folder) {
    (void)file::write_all(file::join(param_folder, "Folder.txt"),
                          encode(one_line(target_folder) + "\r\n"));
}

std::string Fldg_Full_Name_Read(const std::string& base) { return first_line(base + "_Fldg.txt"); }

void Fldg_Full_Name_Write(const std::string& base, const std::string& full_name) {
    (void)file::write_all(base + "_Fldg.txt", encode(one_line(full_name) + "\r\n"));
}

void List1_DayTime_Create(Catalogue& catalogue, const std::string& param_folder) {
    std::string bytes, text;
    if (!file::read_all(file::join(param_folder, "List.txt"), bytes) || !decode(bytes, text))
        return;
    // Rows of the same pair (the separators of a category) take the records in turn.
    std::map<std::pair<std::string, std::string>, int> seen;
    for (const auto& rec : read_records(text)) {
        if (rec.size() < 3) continue;
        auto when = datetime::parse(rec[2]);
        if (!when) continue;
        const std::string cat = text::upper(rec[0]);
        const std::string key = text::upper(rec[1]);
        int skip = seen[{cat, key}]++;
        for (Catalogue::Row& row : catalogue.rows()) {
            if (row.decl->key_name != key || text::upper(row.decl->category) != cat) continue;
            if (skip-- > 0) continue;
            row.last_used = *when;
            break;
        }
    }
}

void List1_DayTime_Write(Catalogue& catalogue, const std::string& param_folder,
                         std::string_view category, std::string_view name, Clock::time_point when) {
    catalogue.stamp(category, name, when);
    std::string out;
    for (const Catalogue::Row& row : catalogue.rows())
        out += quoted(row.decl->category, false) + "," + quoted(row.decl->name, false) + "," +
               datetime::format_write(row.last_used) + "\r\n";
    (void)file::write_all(file::join(param_folder, "List.txt"), encode(out));
}

}  // namespace sheaflow::shell
