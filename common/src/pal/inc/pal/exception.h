// The platform layer's exception family. Thrown by value, caught by reference;
// the failure ladder of every action knows each of them.
#pragma once

#include <cstdint>
#include <string>

namespace PAL {

class Exception {
public:
    Exception(uint32_t line, const char* file) : line_(line), file_(file) {}
    virtual ~Exception() = default;
    // The text that reaches the log. Where the exception was thrown is kept
    // for a debugger only and appears in no text.
    virtual std::wstring Text() const = 0;

    uint32_t Line() const { return line_; }
    const char* File() const { return file_; }

private:
    uint32_t line_;
    const char* file_;
};

// A Windows error code; its text comes from the message catalog.
class WindowsError : public Exception {
public:
    WindowsError(uint32_t line, const char* file, int32_t code)
        : Exception(line, file), code_(code) {}
    int32_t Code() const { return code_; }
    std::wstring Text() const override;

private:
    int32_t code_;
};

class AssertFailure : public Exception {
public:
    AssertFailure(uint32_t line, const char* file, std::wstring expression)
        : Exception(line, file), expression_(std::move(expression)) {}
    const std::wstring& Expression() const { return expression_; }
    std::wstring Text() const override { return L"Assert Failure: " + expression_; }

private:
    std::wstring expression_;
};

class StrErrorBase : public Exception {
public:
    StrErrorBase(uint32_t line, const char* file, int32_t value = 0)
        : Exception(line, file), value_(value) {}
    int32_t Value() const { return value_; }

private:
    int32_t value_;
};

class StrCvtError : public StrErrorBase {
public:
    enum Code : int32_t { NoError = 0, InvalidInput = 1, Incomplete = 2 };

    StrCvtError(uint32_t line, const char* file, int32_t code)
        : StrErrorBase(line, file, 0), code_(code) {}
    int32_t Code() const { return code_; }
    std::wstring Text() const override { return L"Conversion error: " + CodeText(code_); }
    static std::wstring CodeText(int32_t code);

private:
    int32_t code_;
};

}  // namespace PAL

#define PAL_THROW(Type, ...) throw Type(__LINE__, __FILE__, __VA_ARGS__)
#define PAL_ASSERT(expr) \
    do { if (!(expr)) throw ::PAL::AssertFailure(__LINE__, __FILE__, L## #expr); } while (0)
