// What the case files can't say: failing saves, an include that is no file,
// and the locale guard.
#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#endif

#include <clocale>
#include <cstdio>
#include <string>

#include "orvane/qx_datfile.h"
#include "orvane/qx_filesource.h"
#include "test_files.h"

using namespace orvane;
using namespace qxtestfiles;

TEST(DatFile, MissingFileFailedSavesAndAnIncludeThatIsNoFile)
{
    qx_datfile dat(tempPath("absent.dat"));
    EXPECT_FALSE(dat.isValid());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::noQuorixDat);
    EXPECT_EQ(dat.getFileName(), "");
    dat.setFileName(tempPath("no/such/dir/q.dat"));
    EXPECT_FALSE(dat.save());
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1) * 10 + dat.getErrorRepository().getMessageCount(), 2561);
#ifdef __linux__
    readInto("Options\nA 1\nend\n", dat);
    dat.setFileName("/dev/full");
    EXPECT_FALSE(dat.save());
    const std::string head = "Failed to wtite to file '/dev/full' (file not open or disk full). OS returned";
    EXPECT_EQ(dat.getErrorRepository().getMessage(1).compare(0, head.size(), head), 0) << dat.getErrorRepository().getMessage(1);
#endif
    // A name that exists but can't be opened as a file: a directory on
    // Windows, a socket here (a directory opens, and the tests run as root).
#ifdef _WIN32
    std::string target = tempDir();
#else
    std::string target = tempPath("include.sock");
    int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", target.c_str());
    ASSERT_EQ(::bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
#endif
    std::string path = readInto("Cluster\n@include " + target + "\nEnabled 1\nend\n", dat);
#ifdef _WIN32
    EXPECT_EQ(dat.getErrorRepository().getErrorNumber(1), qxerr::openFile);
#else
    EXPECT_EQ(dat.getErrorRepository().getMessage(1), path + ", line 2: @include " + target + " is not followed: not a regular file");
    ::close(sock);
#endif
    EXPECT_FALSE(dat.isValid());
    EXPECT_TRUE(dat.getClusterParams().isEnabled()) << "the section goes on";
}

TEST(LocaleSetter, ScansWithADecimalPointAndRestores)
{
    std::string before = std::setlocale(LC_ALL, nullptr);
    {
        qxparser_internal::locale_setter guard;
        EXPECT_STREQ(std::localeconv()->decimal_point, ".");
    }
    EXPECT_EQ(std::string(std::setlocale(LC_ALL, nullptr)), before);
}
