#pragma once
// Conversions between the program's UTF-8 std::string and QString.

#include <QString>
#include <string>
#include <string_view>

namespace sheaflow::gui {

inline QString qs(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

inline std::string ss(const QString& text) { return text.toStdString(); }

}  // namespace sheaflow::gui
