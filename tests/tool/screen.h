// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_TESTS_TOOL_SCREEN_H
#define LIBSSDP_TESTS_TOOL_SCREEN_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fixture.h"

// A terminal of 80 columns and 12 lines on a host, with a shell in it, as a person has: tmux runs
// it, types into it and tells what is on it.
class Screen {
 public:
  using Lines = std::vector<std::string>;

  Screen(support::Host& host, const Folder& folder);

  // Types `command` and the enter key.
  void Command(const std::string& command);
  // Presses keys, by tmux's names.
  void Press(const std::string& keys);
  void Resize(int columns, int rows);
  // From here on every byte that is written to the terminal goes to the file too.
  void Record(const std::string& path);

  // What is on the screen, without empty lines at the end. With `colors` as escape sequences.
  Lines Capture(bool colors = false);

  // Waits until the screen is as `fits` says, and returns it; throws with the last screen.
  Lines Await(const std::string& what, const std::function<bool(const Lines&)>& fits);
  // Waits until one of the lines contains `text`.
  Lines AwaitText(const std::string& text);
  // Waits until the last line is `text`, as a prompt.
  Lines AwaitEnd(const std::string& text);

 private:
  std::vector<std::string> Tmux(const Arguments& arguments);

  support::Host& m_host;
  std::string m_socket;
  Program m_server;
};

// Whether one of the lines contains `text`.
bool Contain(const Screen::Lines& lines, const std::string& text);

// The lines with the two times at their ends, which depend on how fast the machine is, as "..".
Screen::Lines Timeless(const Screen::Lines& lines);

#endif
