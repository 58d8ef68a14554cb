// Stands in for the help search's index tools (htdig, htmerge, htnotify,
// htfuzzy): one program, built under each tool's name. It
//   - appends its command line, exactly as it was given, as one line to
//     "standin-calls.txt" in its current directory;
//   - writes a line to standard output and one to standard error, so that a
//     collecting log shows both streams of every run;
//   - fails on request: when "standin-fail.txt" in its current directory
//     holds a line that occurs in its command line, it says so on standard
//     error and ends with exit code 3.
#include <windows.h>

#include <fstream>
#include <string>

namespace {

std::string Narrow(const std::wstring& text)
{
    const int n = WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), &bytes[0], n, nullptr, nullptr);
    return bytes;
}

void Write(DWORD which, const std::string& line)
{
    const std::string bytes = line + "\r\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(which), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

std::string ToolName()
{
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring name = path;
    name = name.substr(name.find_last_of(L"\\/") + 1);
    const size_t dot = name.rfind(L'.');
    return Narrow(dot == std::wstring::npos ? name : name.substr(0, dot));
}

}  // namespace

int main()
{
    const std::string commandLine = Narrow(GetCommandLineW());
    const std::string tool = ToolName();
    {
        std::ofstream calls("standin-calls.txt", std::ios::binary | std::ios::app);
        calls << commandLine << "\r\n";
    }
    Write(STD_OUTPUT_HANDLE, tool + ": indexing with " + commandLine);

    std::ifstream failList("standin-fail.txt", std::ios::binary);
    for (std::string line; std::getline(failList, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && commandLine.find(line) != std::string::npos) {
            Write(STD_ERROR_HANDLE, tool + ": failing on request");
            return 3;
        }
    }
    Write(STD_ERROR_HANDLE, tool + ": done");
    return 0;
}
