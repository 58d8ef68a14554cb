// The lines of nodelist.txt and their form. The file's lines, read as the
// setup reads them, give back the file; a line of node form, written out
// again from its fields, has the same form and fields.
#include "cluster/node_line.h"
#include "fuzz_support.h"
#include "pal/strings.h"

static std::string describe(NodeLineForm form, const std::vector<std::wstring>& fields)
{
    std::string out = std::to_string(static_cast<int>(form));
    for (const auto& f : fields) out += "|" + qxfuzz::narrow(f);
    return out;
}

QX_FUZZ_TARGET
{
    // The file in memory: the same C library read, without a disk in between.
    std::string buffer = input, joined;
    FILE* in = fmemopen(buffer.empty() ? nullptr : &buffer[0], buffer.size(), "rb");
    if (!in) return;
    std::vector<std::string> raws;
    for (std::string raw; ReadNodeListLine(in, raw);) raws.push_back(raw), joined += raw;
    std::fclose(in);
    // A NUL byte ends what the C library's line read hands over.
    QX_LAW(input.find('\0') != std::string::npos || input == joined, "the lines read give back the file", input, joined);
    for (const std::string& raw : raws) {
        const std::wstring line = qxfuzz::wide(PAL::Trim(raw));
        if (line.empty() || line[0] == L'#') continue;
        std::vector<std::wstring> fields, fieldsAgain;
        const NodeLineForm form = CheckNodeLine(line, fields);
        QX_LAW((form == NodeLineForm::kNode) == (RefusalFormat(form) == nullptr), "only a refused form has a log text",
               raw, describe(form, fields));
        if (form == NodeLineForm::kUnrecognised) continue;
        std::wstring again = L"Node ";
        for (size_t i = 0; i < fields.size(); ++i) again += (i ? L"," : L"") + fields[i];
        const NodeLineForm formAgain = CheckNodeLine(again, fieldsAgain);
        qxfuzz::expectSame("a line written from its fields has the same form and fields", describe(form, fields),
                           describe(formAgain, fieldsAgain));
    }
}
