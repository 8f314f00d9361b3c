#pragma once
// A host whose answers are scripted by the test and which records what the run showed.

#include <deque>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "run/host.h"

namespace sheaflow::testing {

class ScriptedHost : public run::Host {
public:
    bool yield() override {
        ++yields;
        if (on_yield) on_yield(*this);
        return cancel;
    }
    void message(const std::string& text) override { messages.push_back(text); }
    bool confirm(const std::string& text) override {
        questions.push_back(text);
        return answer_ok;
    }
    bool confirm_first_file(const std::string& text, xl::Workbook* book) override {
        first_file_questions.push_back(text);
        first_file_books.push_back(book);
        return answer_ok;
    }
    void progress(const std::string& line) override {
        progress_lines_.push_back(line);
        if (on_progress) on_progress(line);
    }
    int progress_lines() const override { return static_cast<int>(progress_lines_.size()); }
    void clear_progress() override { progress_lines_.clear(); }
    [[noreturn]] void fatal(const std::string& text) override { throw std::runtime_error(text); }

    bool cancel = false;
    bool answer_ok = true;
    int yields = 0;
    std::function<void(ScriptedHost&)> on_yield;
    std::function<void(const std::string& line)> on_progress;
    std::vector<std::string> messages;
    std::vector<std::string> questions;
    std::vector<std::string> first_file_questions;
    std::vector<xl::Workbook*> first_file_books;
    std::vector<std::string> progress_lines_;
};

}  // namespace sheaflow::testing
