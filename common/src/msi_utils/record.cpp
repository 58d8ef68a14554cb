#include "msiu/record.h"

#include <msiquery.h>

#include "msiu/error.h"

namespace msiu {

DBRecord::DBRecord(unsigned fieldCount) : fieldCount_(fieldCount)
{
    if (fieldCount == 0) ThrowError(kInvalidArg, L"Invalid number of record fields");
    // The installer's record always has a field 0 beyond the count it is given.
    handle_ = MsiCreateRecord(fieldCount - 1);
    if (!handle_) ThrowError(kOutOfMemory, L"Unable to create record");
}

DBRecord::~DBRecord()
{
    if (handle_) MsiCloseHandle(handle_);
}

void DBRecord::CheckIndex(unsigned index) const
{
    if (index >= fieldCount_) ThrowError(kInvalidArg, L"Field index out of range.");
}

DBRecord& DBRecord::SetField(unsigned index, int value)
{
    CheckIndex(index);
    UINT er = MsiRecordSetInteger(handle_, index, value);
    if (er != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(er)), L"Failed to set record field %u to %d", index, value);
    cursor_ = index + 1;
    return *this;
}

DBRecord& DBRecord::SetField(unsigned index, const std::wstring& text)
{
    CheckIndex(index);
    UINT er = MsiRecordSetStringW(handle_, index, text.c_str());
    if (er != ERROR_SUCCESS)
        ThrowError(HResultFromWin32(static_cast<long>(er)), L"Failed to set record field %u to \"%s\"", index,
                   text.c_str());
    cursor_ = index + 1;
    return *this;
}

DBRecord& DBRecord::Skip(unsigned count)
{
    if (static_cast<unsigned long long>(cursor_) + count > fieldCount_)
        ThrowError(kInvalidArg, L"Field index out of range.");
    cursor_ += count;
    return *this;
}

}  // namespace msiu
