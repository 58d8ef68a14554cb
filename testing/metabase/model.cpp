#include "qxtest/metabase_model.h"

#include <cstdio>
#include <cwctype>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qxmb {

namespace {

std::wstring Trim(const std::wstring& s)
{
    size_t b = 0, e = s.size();
    while (b < e && iswspace(s[b])) ++b;
    while (e > b && iswspace(s[e - 1])) --e;
    return s.substr(b, e - b);
}

std::wstring NoTrailingSlash(std::wstring p)
{
    while (p.size() > 1 && p.back() == L'/') p.pop_back();
    return p;
}

}  // namespace

bool EqualNoCase(const std::wstring& a, const std::wstring& b)
{
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (towlower(a[i]) != towlower(b[i])) return false;
    return true;
}

bool SamePath(const std::wstring& a, const std::wstring& b) { return EqualNoCase(NoTrailingSlash(a), NoTrailingSlash(b)); }

std::string Utf8(const std::wstring& text)
{
    if (text.empty()) return {};
    int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(n, '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), &out[0], n, nullptr, nullptr);
    return out;
}

std::wstring Wide(const std::string& utf8)
{
    if (utf8.empty()) return {};
    int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
    std::wstring out(n, L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), &out[0], n);
    return out;
}

Value* Node::Find(const std::wstring& name)
{
    for (auto& p : properties)
        if (EqualNoCase(p.first, name)) return &p.second;
    return nullptr;
}

const Value* Node::Find(const std::wstring& name) const { return const_cast<Node*>(this)->Find(name); }

void Node::Set(const std::wstring& name, const Value& value)
{
    if (Value* v = Find(name))
        *v = value;
    else
        properties.emplace_back(name, value);
}

HRESULT Node::FailureFor(const std::wstring& op, const std::wstring& arg) const
{
    for (const Failure& f : failures)
        if (EqualNoCase(f.op, op) && (f.arg.empty() || EqualNoCase(f.arg, arg))) return f.code;
    return S_OK;
}

std::wstring Node::Name() const
{
    const size_t slash = path.rfind(L'/');
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring Node::Class() const
{
    const Value* v = Find(L"Class");
    return v && v->kind == Value::Text ? v->text : L"IIsObject";
}

Node* Metabase::Find(const std::wstring& path)
{
    for (Node& n : nodes)
        if (SamePath(n.path, path)) return &n;
    return nullptr;
}

const Node* Metabase::Find(const std::wstring& path) const { return const_cast<Metabase*>(this)->Find(path); }

std::vector<const Node*> Metabase::Children(const std::wstring& path) const
{
    const std::wstring parent = NoTrailingSlash(path);
    std::vector<const Node*> children;
    for (const Node& n : nodes) {
        const size_t slash = n.path.rfind(L'/');
        if (slash == std::wstring::npos || slash + 1 == n.path.size()) continue;
        if (SamePath(n.path.substr(0, slash), parent)) children.push_back(&n);
    }
    return children;
}

Metabase Parse(const std::string& utf8)
{
    Metabase mb;
    std::istringstream in(utf8);
    std::string raw;
    int number = 0;
    auto fail = [&](const char* why) {
        throw std::runtime_error("metabase line " + std::to_string(number) + ": " + why);
    };
    while (std::getline(in, raw)) {
        ++number;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        const std::wstring line = Wide(raw);
        const std::wstring trimmed = Trim(line);
        if (trimmed.empty() || trimmed[0] == L'#') continue;
        if (trimmed[0] == L'[') {
            if (trimmed.back() != L']') fail("a node line ends in ]");
            Node n;
            n.path = NoTrailingSlash(trimmed.substr(1, trimmed.size() - 2));
            mb.nodes.push_back(n);
            continue;
        }
        if (mb.nodes.empty()) fail("a property before the first node");
        Node& node = mb.nodes.back();
        if (trimmed.compare(0, 6, L"!fail ") == 0) {
            const size_t eq = trimmed.rfind(L'=');
            if (eq == std::wstring::npos) fail("a failure needs = code");
            const std::wstring call = Trim(trimmed.substr(6, eq - 6));
            Failure f;
            const size_t blank = call.find(L' ');
            f.op = call.substr(0, blank);
            f.arg = blank == std::wstring::npos ? L"" : Trim(call.substr(blank));
            f.code = static_cast<HRESULT>(std::wcstoul(Trim(trimmed.substr(eq + 1)).c_str(), nullptr, 0));
            node.failures.push_back(f);
            continue;
        }
        if (trimmed.size() > 2 && trimmed.compare(trimmed.size() - 2, 2, L"[]") == 0) {
            Value v;
            v.kind = Value::List;
            node.Set(Trim(trimmed.substr(0, trimmed.size() - 2)), v);
            continue;
        }
        const size_t eq = line.find(L'=');
        if (eq == std::wstring::npos || eq == 0) fail("expected name = value");
        std::wstring value = line.substr(eq + 1);
        if (!value.empty() && value[0] == L' ') value.erase(0, 1);
        const wchar_t op = line[eq - 1];
        if (op == L'+') {
            const std::wstring name = Trim(line.substr(0, eq - 1));
            Value* v = node.Find(name);
            if (!v || v->kind != Value::List) {
                Value list;
                list.kind = Value::List;
                node.Set(name, list);
                v = node.Find(name);
            }
            v->list.push_back(value);
        } else if (op == L'#') {
            Value v;
            v.kind = Value::Number;
            v.number = std::wcstol(value.c_str(), nullptr, 0);
            node.Set(Trim(line.substr(0, eq - 1)), v);
        } else {
            Value v;
            v.text = value;
            node.Set(Trim(line.substr(0, eq)), v);
        }
    }
    return mb;
}

std::string Serialize(const Metabase& mb)
{
    std::wostringstream out;
    bool first = true;
    for (const Node& n : mb.nodes) {
        if (!first) out << L"\r\n";
        first = false;
        out << L"[" << n.path << L"]\r\n";
        for (const auto& p : n.properties) {
            switch (p.second.kind) {
            case Value::Text: out << p.first << L" = " << p.second.text << L"\r\n"; break;
            case Value::Number: out << p.first << L" #= " << p.second.number << L"\r\n"; break;
            case Value::List:
                if (p.second.list.empty()) out << p.first << L" []\r\n";
                for (const auto& e : p.second.list) out << p.first << L" += " << e << L"\r\n";
                break;
            }
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
    std::ostringstream s;
    s << in.rdbuf();
    return Parse(s.str());
}

void Save(const std::wstring& file, const Metabase& mb)
{
    std::ofstream out(file.c_str(), std::ios::binary | std::ios::trunc);
    out << Serialize(mb);
    if (!out) throw std::runtime_error("cannot write the metabase file " + Utf8(file));
}

std::wstring ChangeLogPath(const std::wstring& file) { return file + L".changes"; }

void Record(const std::wstring& file, const std::wstring& line)
{
    std::ofstream out(ChangeLogPath(file).c_str(), std::ios::binary | std::ios::app);
    out << Utf8(line) << "\r\n";
}

}  // namespace qxmb
