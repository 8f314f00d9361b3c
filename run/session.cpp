#include "run/session.h"

#include "util/text.h"

namespace sheaflow::run {

std::string Session::full_path() const {
    if (folder.empty() || folder.back() == '/') return folder + file_name;
    return folder + "/" + file_name;
}

bool Session::yield() {
    if (host.yield()) cancel = true;
    return cancel;
}

void Session::update_error_text(const std::string& message) {
    if (text::trim(message).empty()) return;
    append_error_line(book_name + " " + message);
    error_flag = true;
}

void Session::append_error_line(const std::string& line) { error_text += line + "\r\n"; }

}  // namespace sheaflow::run
