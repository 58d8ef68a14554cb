// The Databases section: the entries read from a section are the entries
// read after a save; a database line rebuilt from its fields scans into the
// same fields.
#include "fuzz_support.h"
#include "model_dump.h"

using namespace orvane;

static std::string fields(const qx_databaseoptions& entry)
{
    qx_datfile dat;
    dat.getDatabases().appendDatabase(entry);
    return qxmodel::dump(dat)["Databases.0"];
}

QX_FUZZ_TARGET
{
    qx_datfile first;
    // An inactive line's text gains a blank at each save; its fields stay.
    qxfuzz::expectSameAfterSave("a saved Databases section reads the same", "Databases\n" + input + "\nend\n", first,
                                [](qx_datfile& dat) { return qxfuzz::selected(qxmodel::dump(dat), "Databases", ".text"); });
    const qx_databases& dbs = first.getDatabases();
    for (int i = 0; i < dbs.getNumberOfDatabases(); ++i) {
        const qx_databaseoptions& read = *dbs.getDatabase(i);
        if (read.getName().empty()) continue;
        qx_databaseoptions rebuilt(read), again;
        rebuilt.setPath(rebuilt.getPath());  // any change writes the line anew from the fields
        QX_LAW(again.readLine(rebuilt.getLineText(), read.isActive()) == 14, "a rebuilt line has all fourteen fields",
               input, rebuilt.getLineText());
        qxfuzz::expectSame("a rebuilt line scans into the same fields", fields(read), fields(again));
    }
}
