// SPDX-License-Identifier: MIT
#include "fixture.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

Folder::Folder() {
  m_path = std::filesystem::temp_directory_path() / "ssdp-peer-XXXXXX";
  if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("no folder");
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

Program ToolTest::Start(size_t host, const Arguments& arguments, const std::string& errors) {
  Arguments command = {SSDP_PEER};
  if (!errors.empty()) command = {"/bin/sh", "-c", "exec \"$@\" 2>" + errors, "sh", SSDP_PEER};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return m_lan[host].Start(command);
}

Program ToolTest::StartLamp(size_t host, const std::string& uuid, const Arguments& further) {
  Arguments arguments = {"announce", "--uuid", uuid, "--status", "on"};
  arguments.insert(arguments.end(), further.begin(), further.end());
  Program lamp = Start(host, arguments);
  AwaitLine(*lamp, {"started"});
  return lamp;
}

Program ToolTest::StartWatch(size_t host, const Arguments& further) {
  Arguments arguments = {"watch", "--uuid", "me"};
  arguments.insert(arguments.end(), further.begin(), further.end());
  Program watch = Start(host, arguments);
  AwaitLine(*watch, {"started"});
  return watch;
}

Result ToolTest::Run(size_t host, const Arguments& arguments) {
  const std::string errors = m_folder / "errors";
  const Program program = Start(host, arguments, errors);
  const int status = program->Wait();
  return {status, program->Lines(), ReadFile(errors)};
}

void ToolTest::Shell(size_t host, const std::string& commands) {
  const auto shell =
      m_lan[host].Start({"/bin/sh", "-c", "set -e; PATH=$PATH:/sbin:/usr/sbin; " + commands});
  ASSERT_EQ(shell->Wait(), 0) << commands;
}

std::vector<std::string> ToolTest::ReadJson(const std::vector<std::string>& lines,
                                            const std::string& expression) {
  const std::string path = m_folder / "json";
  std::ofstream file(path);
  for (const auto& line : lines) file << line << '\n';
  file.close();
  const std::string script =
      "import json\n"
      "for line in open('" +
      path +
      "', encoding='ascii', newline='\\n'):\n"
      "    o = json.loads(line)\n"
      "    print(" +
      expression + ")\n";
  const auto python = m_lan[1].Start({PYTHON, "-c", script});
  EXPECT_EQ(python->Wait(), 0);
  return python->Lines();
}

std::string Alive(const std::string& uuid, const std::string& status, int max_age) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=" +
         std::to_string(max_age) +
         "\r\n"
         "NTS: ssdp:alive\r\n"
         "NT: urn:example-org:device:Peer:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:example-org:device:Peer:1\r\n"
         "Status: " +
         status + "\r\n\r\n";
}

std::string Byebye(const std::string& uuid, const std::string& status) {
  return "NOTIFY * HTTP/1.1\r\n"
         "Host: 239.255.255.250:1900\r\n"
         "Cache-Control: max-age=90\r\n"
         "NTS: ssdp:byebye\r\n"
         "NT: urn:example-org:device:Peer:1\r\n"
         "USN: uuid:" +
         uuid +
         "::urn:example-org:device:Peer:1\r\n"
         "Status: " +
         status + "\r\n\r\n";
}

std::string AwaitLine(support::Program& program, const std::vector<std::string>& texts,
                      size_t from) {
  const auto holds_all = [&](const std::string& line) {
    return std::all_of(texts.begin(), texts.end(), [&](const std::string& text) {
      return line.find(text) != std::string::npos;
    });
  };
  const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
  for (size_t i = from;;) {
    for (; i < program.Lines().size(); ++i)
      if (holds_all(program.Lines()[i])) return program.Lines()[i];
    if (std::chrono::steady_clock::now() > deadline) break;
    program.Listen(std::chrono::milliseconds(100));
  }
  std::string all;
  for (const auto& line : program.Lines()) all += "\n    " + line;
  throw std::runtime_error("never came: " + texts.at(0) + all);
}

std::vector<std::string> WithoutTimes(const std::vector<std::string>& lines) {
  std::vector<std::string> texts;
  for (const auto& line : lines) texts.push_back(line.substr(line.find(' ') + 1));
  return texts;
}
