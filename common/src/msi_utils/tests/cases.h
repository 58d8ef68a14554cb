// One runner for the tables of this folder's tests, kept as data in cases/*.txt:
//   fn | arg | arg => expected     (" | " between arguments, " =>" before the result)
//   == fn                          the lines up to "--" go to fn as one text
//   # a comment
// A failure prints the file, its line and both results.
#pragma once
#include <comdef.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "msiu/error.h"
#include "pal/atlexception.h"
#include "pal/exception.h"
#include "qxtest/session.h"

namespace cases {

using Args = std::vector<std::wstring>;
using Fn = std::function<std::wstring(const Args&)>;

inline std::string N(const std::wstring& w) { return std::string(w.begin(), w.end()); }
inline std::wstring W(const std::string& s) { return std::wstring(s.begin(), s.end()); }
inline std::wstring B(bool b) { return b ? L"1" : L"0"; }
// Line ends shown as \r and \n, and back.
inline std::wstring Escaped(std::wstring t, bool back = false)
{
    for (auto [from, to] : {std::pair{L"\r", L"\\r"}, {L"\n", L"\\n"}}) {
        const std::wstring f = back ? to : from, r = back ? from : to;
        for (size_t at = t.find(f); at != std::wstring::npos; at = t.find(f, at + r.size())) t.replace(at, f.size(), r);
    }
    return t;
}

// What a call gave: its result, or "!", the code and the text it raised.
inline std::wstring Outcome(const std::function<std::wstring()>& f)
{
    try {
        return f();
    } catch (const msiu::MSIError& e) {
        return msiu::Format(L"! 0x%08X ", static_cast<unsigned>(e.Code())) + e.Text();
    } catch (const _com_error& e) {
        return msiu::Format(L"! com 0x%08X", static_cast<unsigned>(e.Error()));
    } catch (const ATL::CAtlException& e) {
        return msiu::Format(L"! atl 0x%08X", static_cast<unsigned>(e.m_hr));
    } catch (const PAL::Exception&) {
        return L"! platform";
    } catch (const std::exception&) {
        return L"! std";
    }
}

inline void Run(const char* file, const std::map<std::string, Fn>& fns)
{
    // A bare name is one of cases/, a path one of the source tree.
    const std::wstring dir = std::string(file).find('/') == std::string::npos ? L"/common/src/msi_utils/tests/cases/" : L"/";
    std::istringstream in(qxtest::ReadFileBytes(qxtest::SourceDir() + dir + W(file)));
    int n = 0, ran = 0;
    for (std::string line; std::getline(in, line);) {
        ++n;
        if (line.empty() || line[0] == '#') continue;
        Args args;
        std::string fn = line, expect;
        if (line.rfind("== ", 0) == 0) {
            fn = line.substr(3);
            std::string block;
            for (std::string l; std::getline(in, l) && l != "--"; ++n) block += l + "\n";
            args.push_back(W(block));
        } else {
            const size_t arrow = line.find(" =>");
            const std::string call = line.substr(0, arrow);
            expect = arrow == std::string::npos ? "" : line.substr(std::min(line.size(), arrow + 4));
            fn = call.substr(0, call.find(" | "));
            for (size_t at = call.find(" | "); at != std::string::npos;) {
                const size_t next = call.find(" | ", at + 3);
                args.push_back(W(call.substr(at + 3, next == std::string::npos ? std::string::npos : next - at - 3)));
                at = next;
            }
        }
        const auto f = fns.find(fn);
        const std::string got = f == fns.end() ? "no such function: " + fn : (++ran, N(f->second(args)));
        if (got != expect) ADD_FAILURE() << file << ":" << n << ": " << line << "\n- " << expect << "\n+ " << got;
    }
    EXPECT_GT(ran, 0) << file;
}

}  // namespace cases
