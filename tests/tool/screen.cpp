// SPDX-License-Identifier: MIT
#include "screen.h"

#include <chrono>
#include <regex>
#include <stdexcept>
#include <thread>

Screen::Screen(support::Host& host, const Folder& folder)
    : m_host(host),
      m_socket(folder / "tmux"),
      m_server(host.Start({"/bin/sh", "-c", "exec \"$@\" 2>/dev/null", "sh", TMUX, "-S", m_socket,
                           "-f", "/dev/null", "-D"})) {
  // The server needs a moment until it can be talked to.
  const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
  const Arguments session = {"new-session",
                             "-d",
                             "-x",
                             "80",
                             "-y",
                             "12",
                             "env PS1='$ ' HISTFILE= bash --norc --noprofile"};
  while (!Contain(Tmux({"list-sessions", "-F", "session #S"}), "session ")) {
    if (std::chrono::steady_clock::now() > deadline) throw std::runtime_error("no tmux");
    Tmux(session);
  }
  AwaitText("$");
}

std::vector<std::string> Screen::Tmux(const Arguments& arguments) {
  // Without -N a client that comes too early would start a server of its own, which outlives us.
  Arguments command = {"/bin/sh", "-c",    "exec \"$@\" 2>/dev/null", "sh", TMUX, "-N",
                       "-S",      m_socket};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const auto client = m_host.Start(command);
  client->Wait();
  return client->Lines();
}

void Screen::Command(const std::string& command) {
  Tmux({"send-keys", "-l", command});
  Press("Enter");
}

void Screen::Press(const std::string& keys) {
  Tmux({"send-keys", keys});
}

void Screen::Resize(int columns, int rows) {
  Tmux({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(rows)});
}

void Screen::Record(const std::string& path) {
  Tmux({"pipe-pane", "exec cat >'" + path + "'"});
}

Screen::Lines Screen::Capture(bool colors) {
  Lines lines = colors ? Tmux({"capture-pane", "-p", "-e"}) : Tmux({"capture-pane", "-p"});
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

Screen::Lines Screen::Await(const std::string& what,
                            const std::function<bool(const Lines&)>& fits) {
  const auto deadline = std::chrono::steady_clock::now() + support::kPatience;
  Lines lines;
  while (!fits(lines = Capture())) {
    if (std::chrono::steady_clock::now() < deadline) continue;
    std::string all;
    for (const auto& line : lines) all += "\n    " + line;
    throw std::runtime_error("never on the screen: " + what + all);
  }
  return lines;
}

Screen::Lines Screen::AwaitText(const std::string& text) {
  return Await(text, [&](const Lines& lines) { return Contain(lines, text); });
}

Screen::Lines Screen::AwaitEnd(const std::string& text) {
  return Await(text, [&](const Lines& lines) { return !lines.empty() && lines.back() == text; });
}

bool Contain(const Screen::Lines& lines, const std::string& text) {
  for (const auto& line : lines)
    if (line.find(text) != std::string::npos) return true;
  return false;
}

Screen::Lines Timeless(const Screen::Lines& lines) {
  static const std::regex kTimes(" +[0-9]+s +([0-9]+m)?[0-9]+s$");
  Screen::Lines result;
  for (const auto& line : lines) result.push_back(std::regex_replace(line, kTimes, " .. .."));
  return result;
}
