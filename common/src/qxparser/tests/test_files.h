// Files for the tests: a private temporary folder, bytes in and out, and a
// read-and-save of a text.
#pragma once

#include <functional>
#include <string>

#include "orvane/qx_datfile.h"

namespace qxtestfiles {

// A folder of this test program's own, made on first use.
std::string tempDir();
std::string tempPath(const std::string& name);
std::string corpusDir();

void writeBytes(const std::string& path, const std::string& bytes);
std::string readBytes(const std::string& path);

// A text as a save writes it on this platform: its text files end lines in
// CR LF on Windows.
std::string platformText(const std::string& lfText);

// Writes `text` to a file of its own and reads it into `dat`; gives the
// file's path, which the messages name.
std::string readInto(const std::string& text, orvane::qx_datfile& dat);

// The save text back in LF form, whatever platform wrote it.
std::string lfText(const std::string& platform);

std::string replaceAll(std::string s, const std::string& from, const std::string& to);
// Case files: <TAB>, <CR> and <1A> stand for those bytes.
std::string decode(std::string s);
std::string encode(std::string s);

// Runs every block of a case file: "== name", input lines (a last line
// "<NOEOL>" drops the final line end), "-- expect" and the lines `run` must
// give for that input. Fails with the case's name and a diff; QX_BLESS=1
// rewrites the expectations instead. Gives the number of blocks.
int runBlocks(const std::string& path, const std::function<std::string(const std::string&, const std::string&)>& run);

}  // namespace qxtestfiles
