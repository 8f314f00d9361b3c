#pragma once
// Result<T>: a value or an Error, with std::expected's member names so that it can become an
// alias of std::expected once the compiler offers it in C++20 mode.

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace sheaflow {

// One failure a user can meet. `message` is the Japanese text shown to the user (for object-model
// calls it plays the part of the error's description); `path` names the file or part concerned.
struct Error {
    enum class Code {
        Failed,          // generic failure with a message
        NotFound,        // file, part, sheet or name does not exist
        Io,              // read, write or rename failed
        BadFormat,       // a file or part that cannot be parsed
        Unsupported,     // a valid file the engine cannot handle (encrypted, .xlsb, .xls without office)
        Refused,         // the object model refuses the call (bad sheet name, last sheet...)
        Cancelled,       // the user cancelled
        TooLarge,        // a part inflates beyond the engine's limit
    };
    Code code = Code::Failed;
    std::string message;
    std::string path;
    // The failure is not only this file's: a full disk or a read-only disk stops the run.
    bool whole_run = false;

    static Error failed(std::string msg, std::string p = {}) {
        return {Code::Failed, std::move(msg), std::move(p), false};
    }
    static Error make(Code c, std::string msg, std::string p = {}) {
        return {c, std::move(msg), std::move(p), false};
    }
};

template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : v_(std::move(value)) {}  // NOLINT: implicit like std::expected
    Result(Error error) : v_(std::move(error)) {}  // NOLINT

    bool has_value() const { return v_.index() == 0; }
    explicit operator bool() const { return has_value(); }
    T& value() & { assert(has_value()); return std::get<0>(v_); }
    const T& value() const& { assert(has_value()); return std::get<0>(v_); }
    T&& value() && { assert(has_value()); return std::get<0>(std::move(v_)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    const Error& error() const { assert(!has_value()); return std::get<1>(v_); }
    T value_or(T other) const { return has_value() ? std::get<0>(v_) : std::move(other); }

private:
    std::variant<T, Error> v_;
};

template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : error_(std::move(error)), ok_(false) {}  // NOLINT

    bool has_value() const { return ok_; }
    explicit operator bool() const { return ok_; }
    void value() const { assert(ok_); }
    const Error& error() const { assert(!ok_); return error_; }

private:
    Error error_;
    bool ok_ = true;
};

}  // namespace sheaflow
