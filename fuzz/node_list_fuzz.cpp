// The lines of nodelist.txt and their form. The file's lines, read as the
// setup reads them, give back the file; a line of node form, written out
// again from its fields, has the same form and fields.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "cluster/node_line.h"
#include "fuzz_support.h"
#include "pal/strings.h"

namespace {

// Bytes as wide text one for one: the code page is the platform's business.
std::wstring wide(const std::string& text)
{
    std::wstring out;
    for (unsigned char c : text) out += static_cast<wchar_t>(c);
    return out;
}

std::string narrow(const std::wstring& text)
{
    std::string out;
    for (wchar_t c : text) out += static_cast<char>(c);
    return out;
}

std::string describe(NodeLineForm form, const std::vector<std::wstring>& fields)
{
    std::string out = std::to_string(static_cast<int>(form));
    for (const auto& f : fields) out += "|" + narrow(f);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string file(reinterpret_cast<const char*>(data), size);
    // The file in memory: the same C library read, without a disk in between.
    std::string buffer = file;
    FILE* in = fmemopen(buffer.empty() ? nullptr : &buffer[0], buffer.size(), "rb");
    if (!in) return 0;
    std::string joined;
    std::vector<std::string> raws;
    for (std::string raw; ReadNodeListLine(in, raw);) {
        joined += raw;
        raws.push_back(raw);
    }
    std::fclose(in);
    // A NUL byte ends what the C library's line read hands over.
    if (file.find('\0') == std::string::npos) qxfuzz::expectSame("the lines read give back the file", file, joined);

    for (const std::string& raw : raws) {
        const std::wstring line = wide(PAL::Trim(raw));
        if (line.empty() || line[0] == L'#') continue;
        std::vector<std::wstring> fields;
        const NodeLineForm form = CheckNodeLine(line, fields);
        if ((form == NodeLineForm::kNode) != (RefusalFormat(form) == nullptr))
            qxfuzz::broken("only a refused form has a log text", raw, describe(form, fields));
        if (form == NodeLineForm::kUnrecognised) continue;

        std::wstring again = L"Node ";
        for (size_t i = 0; i < fields.size(); ++i) again += (i ? L"," : L"") + fields[i];
        std::vector<std::wstring> fieldsAgain;
        const NodeLineForm formAgain = CheckNodeLine(again, fieldsAgain);
        qxfuzz::expectSame("a line written from its fields has the same form and fields", describe(form, fields),
                           describe(formAgain, fieldsAgain));
    }
    return 0;
}
