#include "qxtest/metabase_model.h"

#include <cwchar>
#include <iterator>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qxmb {

namespace {

std::wstring Trim(const std::wstring& s)
{
    const size_t b = s.find_first_not_of(L" \t\r\n\f\v"), e = s.find_last_not_of(L" \t\r\n\f\v");
    return b == std::wstring::npos ? std::wstring() : s.substr(b, e - b + 1);
}

std::wstring NoTrailingSlash(std::wstring p)
{
    while (p.size() > 1 && p.back() == L'/') p.pop_back();
    return p;
}

bool SamePath(const std::wstring& a, const std::wstring& b) { return EqualNoCase(NoTrailingSlash(a), NoTrailingSlash(b)); }

}  // namespace

bool EqualNoCase(const std::wstring& a, const std::wstring& b)
{
    return a.size() == b.size() && _wcsnicmp(a.c_str(), b.c_str(), a.size()) == 0;
}

std::string Utf8(const std::wstring& text)
{
    std::string out(WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0, nullptr, nullptr), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), &out[0], int(out.size()), nullptr, nullptr);
    return out;
}

std::wstring Wide(const std::string& utf8)
{
    std::wstring out(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), int(utf8.size()), nullptr, 0), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), int(utf8.size()), &out[0], int(out.size()));
    return out;
}

Value* Node::Find(const std::wstring& name)
{
    for (auto& p : properties)
        if (EqualNoCase(p.first, name)) return &p.second;
    return nullptr;
}

void Node::Set(const std::wstring& name, const Value& value)
{
    if (Value* v = Find(name)) *v = value;
    else properties.emplace_back(name, value);
}

HRESULT Node::FailureFor(const std::wstring& op, const std::wstring& arg) const
{
    for (const Failure& f : failures)
        if (EqualNoCase(f.op, op) && (f.arg.empty() || EqualNoCase(f.arg, arg))) return f.code;
    return S_OK;
}

Node* Metabase::Find(const std::wstring& path)
{
    for (Node& n : nodes)
        if (SamePath(n.path, path)) return &n;
    return nullptr;
}

std::vector<const Node*> Metabase::Children(const std::wstring& path) const
{
    std::vector<const Node*> children;
    for (const Node& n : nodes) {
        const size_t slash = n.path.rfind(L'/');
        if (slash != std::wstring::npos && slash + 1 != n.path.size() && SamePath(n.path.substr(0, slash), path))
            children.push_back(&n);
    }
    return children;
}

Metabase Parse(const std::string& utf8)
{
    Metabase mb;
    std::istringstream in(utf8);
    int number = 0;
    auto fail = [&](const char* why) { throw std::runtime_error("metabase line " + std::to_string(number) + ": " + why); };
    for (std::string raw; std::getline(in, raw);) {
        ++number;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        const std::wstring line = Wide(raw), trimmed = Trim(line);
        if (trimmed.empty() || trimmed[0] == L'#') continue;
        if (trimmed[0] == L'[') {
            if (trimmed.back() != L']') fail("a node line ends in ]");
            mb.nodes.push_back(Node{NoTrailingSlash(trimmed.substr(1, trimmed.size() - 2)), {}, {}});
            continue;
        }
        if (mb.nodes.empty()) fail("a property before the first node");
        Node& node = mb.nodes.back();
        const size_t eq = line.find(L'=');
        if (trimmed.compare(0, 6, L"!fail ") == 0) {
            const size_t last = trimmed.rfind(L'=');
            if (last == std::wstring::npos) fail("a failure needs = code");
            const std::wstring call = Trim(trimmed.substr(6, last - 6));
            const size_t blank = call.find(L' ');
            node.failures.push_back({call.substr(0, blank), blank == std::wstring::npos ? L"" : Trim(call.substr(blank)),
                                     HRESULT(std::wcstoul(Trim(trimmed.substr(last + 1)).c_str(), nullptr, 0))});
        } else if (trimmed.size() > 2 && trimmed.compare(trimmed.size() - 2, 2, L"[]") == 0) {
            node.Set(Trim(trimmed.substr(0, trimmed.size() - 2)), Value{Value::List});
        } else if (eq == std::wstring::npos || eq == 0) {
            fail("expected name = value");
        } else {
            // "name += v", "name #= n" or "name = text"; one blank after = is the separator.
            const std::wstring value = line.substr(eq + (eq + 1 < line.size() && line[eq + 1] == L' ' ? 2 : 1));
            const wchar_t op = line[eq - 1];
            const std::wstring name = Trim(line.substr(0, op == L'+' || op == L'#' ? eq - 1 : eq));
            Value* v = node.Find(name);
            if (op == L'+' && !(v && v->kind == Value::List)) node.Set(name, Value{Value::List}), v = node.Find(name);
            if (op == L'+') v->list.push_back(value);
            else if (op == L'#') node.Set(name, Value{Value::Number, L"", std::wcstol(value.c_str(), nullptr, 0)});
            else node.Set(name, Value{Value::Text, value});
        }
    }
    return mb;
}

std::string Serialize(const Metabase& mb)
{
    std::wostringstream out;
    for (const Node& n : mb.nodes) {
        out << (&n == &mb.nodes.front() ? L"[" : L"\r\n[") << n.path << L"]\r\n";
        for (const auto& p : n.properties) {
            if (p.second.kind == Value::Text) out << p.first << L" = " << p.second.text << L"\r\n";
            if (p.second.kind == Value::Number) out << p.first << L" #= " << p.second.number << L"\r\n";
            if (p.second.kind == Value::List && p.second.list.empty()) out << p.first << L" []\r\n";
            for (const auto& e : p.second.list) out << p.first << L" += " << e << L"\r\n";
        }
        for (const Failure& f : n.failures) {
            wchar_t code[16];
            swprintf(code, 16, L"0x%08lX", static_cast<unsigned long>(f.code));
            out << L"!fail " << f.op << (f.arg.empty() ? L"" : L" ") << f.arg << L" = " << code << L"\r\n";
        }
    }
    return Utf8(out.str());
}

Metabase Load(const std::wstring& file)
{
    std::ifstream in(file.c_str(), std::ios::binary);
    if (!in) throw std::runtime_error("cannot read the metabase file " + Utf8(file));
    return Parse(std::string(std::istreambuf_iterator<char>(in), {}));
}

void Save(const std::wstring& file, const Metabase& mb)
{
    std::ofstream out(file.c_str(), std::ios::binary | std::ios::trunc);
    out << Serialize(mb);
    if (!out) throw std::runtime_error("cannot write the metabase file " + Utf8(file));
}

void Record(const std::wstring& file, const std::wstring& line)
{
    std::ofstream out(ChangeLogPath(file).c_str(), std::ios::binary | std::ios::app);
    out << Utf8(line) << "\r\n";
}

}  // namespace qxmb
