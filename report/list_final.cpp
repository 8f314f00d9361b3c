#include "report/list_final.h"

namespace sheaflow::report {

void Final_Process(RecordStore& store, ResultTable& table, const std::vector<std::string>& titles,
                   const FillRow& fill) {
    if (store.empty()) return;
    store.sort();
    // Titles first: a streamed table hands rows on as they come, keyed by the titles.
    for (std::size_t c = 0; c < titles.size(); ++c) table.set_title(static_cast<int>(c), titles[c]);
    for (std::int32_t i = 0; i <= store.count(); ++i) {
        const RecordStore::Record& rec = store.record(i);
        if (i > 0 && rec.key(0) != store.record(i - 1).key(0)) table.new_row();
        table.new_row();
        table.set_row_source(table.last_row(), rec.source);
        if (fill) fill(rec, table);
    }
}

SheetListSort sheet_list_sort(std::string_view word) {
    if (word == "sheet") return SheetListSort::BySheet;
    if (word == "code") return SheetListSort::ByCode;
    return SheetListSort::ByFile;
}

namespace {
enum Detail : std::size_t { kFile, kFront, kCode, kSheet };
}

void sheet_name_list_add(RecordStore& store, SheetListSort sort, const std::string& file,
                         const std::string& sheet, const std::string& code, bool front) {
    std::vector<std::string> keys;
    switch (sort) {
        case SheetListSort::ByFile:
            keys = {file, code, sheet};
            break;
        case SheetListSort::BySheet:
            keys = {sheet, code, file};
            break;
        case SheetListSort::ByCode:
            keys = {code, sheet, file};
            break;
    }
    store.add(std::move(keys), {file, front ? kFrontMark : kNotFront, code, sheet});
}

void sheet_name_list_final(
    RecordStore& store, ResultTable& table, SheetListSort sort,
    const std::function<std::string(const std::string&)>& sheet_space_check) {
    switch (sort) {
        case SheetListSort::ByFile:
            Final_Process(store, table, {"ファイル名", "最前面", "コード名", "シート名"},
                          [&](const RecordStore::Record& r, ResultTable& t) {
                              t.set(0, r.field(kFile));
                              t.set(1, r.field(kFront));
                              t.set(2, r.field(kCode));
                              t.set(3, sheet_space_check ? sheet_space_check(r.field(kSheet))
                                                         : r.field(kSheet));
                          });
            break;
        case SheetListSort::BySheet:
            Final_Process(store, table, {"シート名", "コード名", "最前面", "ファイル名"},
                          [](const RecordStore::Record& r, ResultTable& t) {
                              t.set(0, r.field(kSheet));
                              t.set(1, r.field(kCode));
                              t.set(2, r.field(kFront));
                              t.set(3, r.field(kFile));
                          });
            break;
        case SheetListSort::ByCode:
            Final_Process(store, table, {"コード名", "シート名", "最前面", "ファイル名"},
                          [](const RecordStore::Record& r, ResultTable& t) {
                              t.set(0, r.field(kCode));
                              t.set(1, r.field(kSheet));
                              t.set(2, r.field(kFront));
                              t.set(3, r.field(kFile));
                          });
            break;
    }
}

}  // namespace sheaflow::report
