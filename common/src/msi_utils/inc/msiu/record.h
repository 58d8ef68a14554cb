// One installer record with a write cursor, for rows and log lines.
#pragma once

#include <windows.h>
#include <msi.h>

#include <string>

namespace msiu {

class DBRecord {
public:
    // fieldCount counts field 0: DBRecord(1) holds field 0 alone.
    explicit DBRecord(unsigned fieldCount);
    virtual ~DBRecord();
    DBRecord(const DBRecord&) = delete;
    DBRecord& operator=(const DBRecord&) = delete;

    DBRecord& SetField(unsigned index, int value);
    DBRecord& SetField(unsigned index, const std::wstring& text);
    DBRecord& Add(int value) { return SetField(cursor_, value); }
    DBRecord& Add(const std::wstring& text) { return SetField(cursor_, text); }
    DBRecord& Add(const wchar_t* text) { return SetField(cursor_, std::wstring(text)); }
    DBRecord& Skip(unsigned count);

    MSIHANDLE Handle() const { return handle_; }
    unsigned FieldCount() const { return fieldCount_; }
    unsigned Cursor() const { return cursor_; }

private:
    void CheckIndex(unsigned index) const;

    MSIHANDLE handle_ = 0;
    unsigned fieldCount_;
    unsigned cursor_ = 0;
};

}  // namespace msiu
