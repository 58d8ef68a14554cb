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

struct Value {
    enum Kind { Text, Number, List } kind = Text;
    std::wstring text;
    long number = 0;
    std::vector<std::wstring> list;
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
    const Value* Find(const std::wstring& name) const;
    void Set(const std::wstring& name, const Value& value);
    // The code the call is told to fail with, or S_OK.
    HRESULT FailureFor(const std::wstring& op, const std::wstring& arg = std::wstring()) const;
    std::wstring Name() const;   // last path element
    std::wstring Class() const;  // the Class property, IIsObject without one
};

struct Metabase {
    std::vector<Node> nodes;

    Node* Find(const std::wstring& path);
    const Node* Find(const std::wstring& path) const;
    std::vector<const Node*> Children(const std::wstring& path) const;
};

bool SamePath(const std::wstring& a, const std::wstring& b);
bool EqualNoCase(const std::wstring& a, const std::wstring& b);

// Throws std::runtime_error naming the line of a text it cannot read.
Metabase Parse(const std::string& utf8);
std::string Serialize(const Metabase& metabase);

Metabase Load(const std::wstring& file);
void Save(const std::wstring& file, const Metabase& metabase);
// Appends one line (UTF-8, CRLF) to the change log beside the file.
void Record(const std::wstring& file, const std::wstring& line);
std::wstring ChangeLogPath(const std::wstring& file);

std::string Utf8(const std::wstring& text);
std::wstring Wide(const std::string& utf8);

}  // namespace qxmb
