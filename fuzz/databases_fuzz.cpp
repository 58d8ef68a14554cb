// The Databases section: the entries read from a section are the entries
// read after a save; a database line rebuilt from its fields scans into the
// same fields.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_databases.h"
#include "orvane/qx_datfile.h"

using namespace orvane;

namespace {

std::string fields(const qx_databaseoptions& d)
{
    return "[" + d.getName() + "] [" + d.getPath() + "] " + (d.isNucleic() ? "NA " : "AA ") +
           std::to_string(d.getColumn4()) + " " + std::to_string(d.getColumn5()) + " " +
           std::to_string(d.getColumn6()) + " " + std::to_string(d.getColumn7Off()) + " " +
           std::to_string(d.getThreads()) + " " + std::to_string(d.getColumn9()) + " " +
           std::to_string(d.getHasAccessionRefRule()) + " " + std::to_string(d.getAccessionRule()) + " " +
           std::to_string(d.getDescriptionRule()) + " " + std::to_string(d.getAccessionRefRule()) + " " +
           std::to_string(d.getTaxonomyRule());
}

std::string describe(const qx_databases& dbs)
{
    std::string out = dbs.isAvailable() ? "Databases\n" : "no Databases\n";
    for (int i = 0; i < dbs.getNumberOfDatabases(); ++i) {
        const qx_databaseoptions* d = dbs.getDatabase(i);
        out += std::string(d->isActive() ? "on " : "off ") + fields(*d) + "\n";
    }
    return out;
}

void checkRebuild(const qx_databaseoptions& read, const std::string& input)
{
    qx_databaseoptions rebuilt(read);
    rebuilt.setPath(rebuilt.getPath());  // any change writes the line anew from the fields
    qx_databaseoptions again;
    const int count = again.readLine(rebuilt.getLineText(), read.isActive());
    if (count != 14) qxfuzz::broken("a rebuilt line has all fourteen fields", input, rebuilt.getLineText());
    qxfuzz::expectSame("a rebuilt line scans into the same fields", fields(read), fields(again));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string body(reinterpret_cast<const char*>(data), size);
    const std::string input = "Databases\n" + body + "\nend\n";
    const std::string path = qxfuzz::workPath("databases.dat"), saved = qxfuzz::workPath("saved.dat");
    qxfuzz::writeBytes(path, input);

    qx_datfile first;
    first.setFileName(path);
    first.read();
    const std::string once = describe(first.getDatabases());
    first.setFileName(saved);
    if (!first.save()) qxfuzz::broken("a read file saves", input, first.getErrorRepository().getMessage(-1));

    qx_datfile second;
    second.setFileName(saved);
    second.read();
    qxfuzz::expectSame("a saved Databases section reads the same", once, describe(second.getDatabases()));

    const qx_databases& dbs = first.getDatabases();
    for (int i = 0; i < dbs.getNumberOfDatabases(); ++i) {
        if (!dbs.getDatabase(i)->getName().empty()) checkRebuild(*dbs.getDatabase(i), input);
    }
    return 0;
}
