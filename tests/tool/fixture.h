// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_TOOL_FIXTURE_H
#define LIBSSDP_TESTS_TOOL_FIXTURE_H

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "lan.h"

using Arguments = std::vector<std::string>;
using Program = std::unique_ptr<support::Program>;

// A folder of the test's own, gone with it.
class Folder {
 public:
  Folder();
  ~Folder();
  std::string operator/(const std::string& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

struct Result {
  int status;
  std::vector<std::string> output;
  std::string errors;  // standard error
};

// Three hosts with the addresses 10.77.0.1 to 10.77.0.3.
class ToolTest : public testing::Test {
 protected:
  // What is printable must not depend on the environment's locale.
  ToolTest() { setenv("LC_ALL", "C", 1); }

  // Starts ssdp-peer on a host, with `errors` as its standard error when it isn't empty.
  Program Start(size_t host, const Arguments& arguments, const std::string& errors = "");
  // The same for one that announces, and waits until it is on the network.
  Program StartLamp(size_t host, const std::string& uuid, const Arguments& further = {});
  // The same for a watch that prints, with the UUID "me".
  Program StartWatch(size_t host, const Arguments& further = {});
  // Runs it to its end.
  Result Run(size_t host, const Arguments& arguments);
  // Runs shell commands on a host.
  void Shell(size_t host, const std::string& commands);

  // What a JSON reader that isn't ours understands: a line of Python for each line, as `expression`
  // says of the object `o`. A line that isn't JSON, or not ASCII alone, fails the test.
  std::vector<std::string> ReadJson(const std::vector<std::string>& lines,
                                    const std::string& expression);

  Folder m_folder;
  support::Lan m_lan{3};
};

// An announcement of our own kind as anybody could send it.
std::string Alive(const std::string& uuid, const std::string& status, int max_age = 1800);
std::string Byebye(const std::string& uuid, const std::string& status);

std::string ReadFile(const std::string& path);

// The first line from `from` on that contains all of `texts`; waits for it.
std::string AwaitLine(support::Program& program, const std::vector<std::string>& texts,
                      size_t from = 0);

// The lines without the time that each begins with.
std::vector<std::string> WithoutTimes(const std::vector<std::string>& lines);

#endif
