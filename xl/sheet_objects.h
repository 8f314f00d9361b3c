#pragma once
// The colours and drawing objects of a sheet as the operations see them: every colour of the
// sheet's cells, conditional formats, comments, shapes and tab, and the objects drawn on it
// (comments, embedded objects, charts, pictures, shapes, controls, hyperlinks). Worksheet in
// xl/xl.h offers the members that walk and change them.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace sheaflow::xl {

struct Area;

// Which kinds of item a colour walk visits, one flag per check box of the colour panes.
struct ColourKinds {
    bool font = false;               // cell font colour
    bool interior = false;           // cell fill
    bool pattern = false;            // the pattern colour of a patterned fill
    bool borders = false;            // the eight borders of cells
    bool format_conditions = false;  // conditional formats
    bool comments = false;           // notes: box fill, line and text
    bool shapes = false;             // shapes: fill, line, text, members of groups
    bool controls = false;           // ActiveX controls: back and border colours
    bool tab = false;                // the sheet's tab
};

// One colour of one item.
struct ColourUse {
    // Where it is: a cell address ("B3"), or the kind of item ("条件書式", "コメント",
    // "オートシェイプ", "タブ") with the object in brackets ("コメント(B3)").
    std::string place;
    // The item word: "文字", "背景", "パターン", "罫線左", "罫線上", "罫線下", "罫線右",
    // "罫線内側の縦", "罫線内側の横", "罫線斜め下", "罫線斜め上", "外枠", "タブ".
    std::string item;
    // The object model's colour: red + 256 green + 65536 blue. Automatic colours are not visited.
    std::int32_t colour = 0;
    // False when the colour cannot be resolved to RGB (a theme colour without a theme, a named
    // colour the engine does not know); such a colour is never changed.
    bool known = true;
    // True for a cell font colour that is the workbook's default font colour (what the
    // application shows as automatic text).
    bool is_default = false;
};

// Called for every colour; answers the colour to write instead, or nothing to keep it.
using ColourVisit = std::function<std::optional<std::int32_t>(const ColourUse&)>;

// The kinds of drawing object, in the order the object operations visit them.
enum class ObjectKind { Comment, OleObject, Chart, Picture, Shape, Control, Hyperlink };

// One object of a sheet.
struct SheetObject {
    ObjectKind kind = ObjectKind::Shape;
    // "コメント", "埋め込みOLEオブジェクト", "グラフ", "ハイパーリンク"; for pictures, shapes and
    // controls the kind of shape ("図", "四角形", "テキストボックス", "グループ", ...).
    std::string type_word;
    // Name; a comment and a hyperlink are named by their cell's address ("B3").
    std::string name;
    // TopLeftCell and BottomRightCell, 1-based.
    std::int32_t first_row = 1, first_col = 1, last_row = 1, last_col = 1;
    // Size in points (0 for comments and hyperlinks, which the cell carries).
    double width = 0, height = 0;
    // The text of a shape or comment; the address of a hyperlink.
    std::string text;
    // The engine's handle of the object within the sheet (valid until the sheet's objects
    // change).
    int id = -1;
};

}  // namespace sheaflow::xl
