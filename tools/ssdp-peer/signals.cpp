// SPDX-License-Identifier: MIT
#include "signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace ssdp_peer {

namespace {

int wake[2] = {-1, -1};
volatile sig_atomic_t stop_asked = 0;
volatile sig_atomic_t pause_asked = 0;

void OnSignal(int signal) {
  const int saved = errno;
  if (signal == SIGTSTP)
    pause_asked = 1;
  else if (signal != SIGWINCH)
    stop_asked = 1;
  // A pipe that is full wakes all the same.
  [[maybe_unused]] const ssize_t written = write(wake[1], "", 1);
  errno = saved;
}

void Handle(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;  // without SA_RESTART, so that no write holds up the end
  sigaction(signal, &action, nullptr);
}

void HandleUnlessIgnored(int signal) {
  struct sigaction before = {};
  sigaction(signal, nullptr, &before);
  if (before.sa_handler != SIG_IGN) Handle(signal, OnSignal);
}

}  // namespace

void CatchSignals() {
  if (pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) return;
  for (const int signal : {SIGINT, SIGHUP, SIGQUIT}) HandleUnlessIgnored(signal);
  for (const int signal : {SIGTERM, SIGWINCH}) Handle(signal, OnSignal);
  Handle(SIGPIPE, SIG_IGN);
}

void CatchPause() {
  HandleUnlessIgnored(SIGTSTP);
}

int SignalDescriptor() {
  return wake[0];
}

void TakeSignals() {
  char bytes[64];
  while (read(wake[0], bytes, sizeof(bytes)) > 0) continue;
}

bool StopAsked() {
  return stop_asked != 0;
}

bool TakePause() {
  const bool asked = pause_asked != 0;
  pause_asked = 0;
  return asked;
}

}  // namespace ssdp_peer
