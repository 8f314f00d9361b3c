#pragma once
// The pane keys and option words of the sheet operations, in one place.

namespace sheaflow::ops::sheet_keys {

// Which sheet an operation works on.
inline constexpr const char* kTarget = "target";
inline constexpr const char* kActive = "active";
inline constexpr const char* kPosition = "position";  // also the key of the position box
inline constexpr const char* kAll = "all";
inline constexpr const char* kByName = "name";
inline constexpr const char* kByPart = "part";

// シート名設定
inline constexpr const char* kName = "name";

// シート名変更
inline constexpr const char* kBasis = "basis";
inline constexpr const char* kWhole = "whole";
inline constexpr const char* kOld = "old";
inline constexpr const char* kNew = "new";

// シート名編集
inline constexpr const char* kMethod = "method";
inline constexpr const char* kText = "text";

// シート名をファイル名の一部から引用
inline constexpr const char* kPart = "part";
inline constexpr const char* kStart = "start";
inline constexpr const char* kLength = "length";
inline constexpr const char* kDelimiter = "delimiter";

// 挿入
inline constexpr const char* kWhere = "where";
inline constexpr const char* kCount = "count";
inline constexpr const char* kKind = "kind";

// 選択削除, 選択以外削除
inline constexpr const char* kSheets = "sheets";

// 移動
inline constexpr const char* kSource = "source";
inline constexpr const char* kSourceName = "source_name";
inline constexpr const char* kSourcePosition = "source_position";
inline constexpr const char* kTargetPosition = "target_position";
inline constexpr const char* kPlace = "place";

// シート名一覧
inline constexpr const char* kSort = "sort";

}  // namespace sheaflow::ops::sheet_keys
