#include "msiu/runner.h"

#include <windows.h>

#include <vector>

#include "msiu/error.h"
#include "msiu/log.h"

namespace msiu {

namespace {

// Owns one kernel handle; closes it on every path.
class ScopedHandle {
public:
    ScopedHandle() = default;
    explicit ScopedHandle(HANDLE h) : h_(h) {}
    ~ScopedHandle() { Close(); }
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;

    HANDLE Get() const { return h_; }
    HANDLE* Receive() { Close(); return &h_; }
    bool Valid() const { return h_ && h_ != INVALID_HANDLE_VALUE; }
    void Close()
    {
        if (Valid()) CloseHandle(h_);
        h_ = nullptr;
    }

private:
    HANDLE h_ = nullptr;
};

[[noreturn]] void ThrowLastError(const wchar_t* format, const std::wstring& subject)
{
    ThrowError(HResultFromWin32(static_cast<long>(GetLastError())), format, subject.c_str());
}

}  // namespace

uint32_t RunCommand(const std::wstring& commandLine, const std::wstring& outputFile, bool append,
                    uint32_t timeoutMs, const std::wstring& workingDir)
{
    LogMessage(kMsgInfo, L"Opening file for command output: %s  (append %d)", outputFile.c_str(), append ? 1 : 0);
    ScopedHandle file(CreateFileW(outputFile.c_str(), GENERIC_WRITE, 0, nullptr,
                                  append ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.Valid()) ThrowLastError(L"Can't open command output file for writing: %s", outputFile);

    if (append) {
        SetLastError(NO_ERROR);
        if (SetFilePointer(file.Get(), 0, nullptr, FILE_END) == INVALID_SET_FILE_POINTER &&
            GetLastError() != NO_ERROR)
            ThrowLastError(L"Can't seek to end of command output file: %s", outputFile);
    }

    // Two inheritable copies, so that the child's standard output and standard
    // error share one file position and interleave as the child writes.
    const HANDLE self = GetCurrentProcess();
    ScopedHandle childOut, childErr;
    if (!DuplicateHandle(self, file.Get(), self, childOut.Receive(), 0, TRUE, DUPLICATE_SAME_ACCESS) ||
        !DuplicateHandle(self, file.Get(), self, childErr.Receive(), 0, TRUE, DUPLICATE_SAME_ACCESS))
        ThrowLastError(L"Can't duplicate file handle for: %s", outputFile);

    // The child gets these two handles and no other: the install's process
    // holds inheritable handles of its own that a tool must not keep open.
    HANDLE inherited[] = {childOut.Get(), childErr.Get()};
    SIZE_T listSize = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &listSize);
    std::vector<char> listBuffer(listSize);
    auto* list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(listBuffer.data());
    if (!InitializeProcThreadAttributeList(list, 1, 0, &listSize))
        ThrowLastError(L"Failed to run command: %s", commandLine);
    struct ListOwner {
        LPPROC_THREAD_ATTRIBUTE_LIST list;
        ~ListOwner() { DeleteProcThreadAttributeList(list); }
    } listOwner{list};
    if (!UpdateProcThreadAttribute(list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited, sizeof inherited, nullptr,
                                   nullptr))
        ThrowLastError(L"Failed to run command: %s", commandLine);

    STARTUPINFOEXW startupEx = {};
    STARTUPINFOW& startup = startupEx.StartupInfo;
    startup.cb = sizeof startupEx;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = INVALID_HANDLE_VALUE;
    startup.hStdOutput = childOut.Get();
    startup.hStdError = childErr.Get();
    startupEx.lpAttributeList = list;
    const DWORD flags = GetPriorityClass(self) | CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT;

    LogMessage(kMsgInfo, L"Running command: %s", commandLine.c_str());
    if (!workingDir.empty()) LogMessage(kMsgInfo, L"Current directory for child process: %s", workingDir.c_str());

    std::vector<wchar_t> writable(commandLine.begin(), commandLine.end());
    writable.push_back(L'\0');
    PROCESS_INFORMATION child = {};
    if (!CreateProcessW(nullptr, writable.data(), nullptr, nullptr, TRUE, flags, nullptr,
                        workingDir.empty() ? nullptr : workingDir.c_str(), &startup, &child))
        ThrowLastError(L"Failed to run command: %s", commandLine);
    ScopedHandle process(child.hProcess);
    CloseHandle(child.hThread);
    // Only the child may hold the file now; our copies would keep it open.
    childOut.Close();
    childErr.Close();

    const DWORD waited = WaitForSingleObject(process.Get(), timeoutMs);
    if (waited != WAIT_OBJECT_0) {
        // A time-out sets no last error; give it its own code. The child runs on.
        if (waited == WAIT_TIMEOUT) SetLastError(WAIT_TIMEOUT);
        const DWORD error = GetLastError();
        process.Close();
        SetLastError(error);
        ThrowLastError(L"Timed out running command: %s", commandLine);
    }

    DWORD exitCode = 0;
    if (!GetExitCodeProcess(process.Get(), &exitCode))
        ThrowLastError(L"Couldn't get exit status after running command: %s", commandLine);
    process.Close();
    LogMessage(kMsgInfo, L"Exit code of child process was: 0x%x", exitCode);
    return exitCode;
}

}  // namespace msiu
