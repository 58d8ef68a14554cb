// The emulated metabase as text: nodes by path, each with its properties and
// the calls it is told to fail. The emulator, the test helpers and the
// registration tool all read and write this one format:
//
//   # a comment
//   [/w3svc/1]                        a node, by its path below IIS://localhost
//   Class = IIsWebServer              a text property
//   CGITimeout #= 300                 a number property
//   ServerBindings += :80:            one entry of a multi-valued property
//   SecureBindings []                 a multi-valued property with no entry
//   !fail GetEx SecureBindings = 0x80070005    the call fails with that code
//
// A value is everything after "= " up to the line end. A node's children are
// the nodes one level below it, in file order.
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

namespace qxmb {

// The emulator's class and the names it is registered under.
// {6A1C3E57-9B2D-4F48-8E0A-5D7C2B19F463}
constexpr CLSID kEmulatorClass = {0x6A1C3E57, 0x9B2D, 0x4F48, {0x8E, 0x0A, 0x5D, 0x7C, 0x2B, 0x19, 0xF4, 0x63}};
constexpr const wchar_t* kEmulatorClassText = L"{6A1C3E57-9B2D-4F48-8E0A-5D7C2B19F463}";
constexpr const wchar_t* kEmulatorProgId = L"QxTest.Metabase";

struct Value {
    enum Kind { Text, Number, List } kind;
    std::wstring text;
    long number;
    std::vector<std::wstring> list;
    Value(Kind k = Text, std::wstring t = {}, long n = 0) : kind(k), text(std::move(t)), number(n) {}
};

// The first argument-free or matching failure of an operation wins.
struct Failure {
    std::wstring op;   // Bind, Class, Name, ADsPath, Get, GetEx, Put, SetInfo, NewEnum, EnumQuery, Next,
                       // QueryInterface, AddExtensionFile, EnableExtensionFile, DeleteExtensionFileRecord
    std::wstring arg;  // property, file or interface name; empty: any
    HRESULT code = E_FAIL;
};

struct Node {
    std::wstring path;  // "/w3svc/1/ROOT"
    std::vector<std::pair<std::wstring, Value>> properties;
    std::vector<Failure> failures;

    Value* Find(const std::wstring& name);
    const Value* Find(const std::wstring& name) const { return const_cast<Node*>(this)->Find(name); }
    void Set(const std::wstring& name, const Value& value);
    // The code the call is told to fail with, or S_OK.
    HRESULT FailureFor(const std::wstring& op, const std::wstring& arg = std::wstring()) const;
};

struct Metabase {
    std::vector<Node> nodes;

    Node* Find(const std::wstring& path);
    const Node* Find(const std::wstring& path) const { return const_cast<Metabase*>(this)->Find(path); }
    std::vector<const Node*> Children(const std::wstring& path) const;
};

bool EqualNoCase(const std::wstring& a, const std::wstring& b);

// Throws std::runtime_error naming the line of a text it cannot read.
Metabase Parse(const std::string& utf8);
std::string Serialize(const Metabase& metabase);

Metabase Load(const std::wstring& file);
void Save(const std::wstring& file, const Metabase& metabase);
// Appends one line (UTF-8, CRLF) to the change log beside the file.
void Record(const std::wstring& file, const std::wstring& line);
inline std::wstring ChangeLogPath(const std::wstring& file) { return file + L".changes"; }

std::string Utf8(const std::wstring& text);
std::wstring Wide(const std::string& utf8);

}  // namespace qxmb
