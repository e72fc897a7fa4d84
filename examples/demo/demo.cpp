// SPDX-License-Identifier: MIT
// ssdp-peer as three lamps on three hosts of a private LAN, and all that they see of each other.
// Its result is 0 when everything that it promises was seen.
#include <csignal>
#include <cstdio>
#include <exception>

#include "private_network.h"
#include "stage.h"

namespace {

void Appear(Stage& stage) {
  stage.Heading(
      "The kitchen's lamp comes on and announces itself. Others may remember that for\n"
      "1800 seconds (--notify-timeout 1800), so it is repeated only after ten minutes.");
  stage.SwitchOn("kitchen");
  stage.Expect({"kitchen", "announces itself", "lamp-kitchen", "10.77.0.2", "on"});
}

void Search(Stage& stage) {
  stage.Heading(
      "The hall's lamp comes, and watches who else is there. It has missed the\n"
      "kitchen's announcement, but it searches at once, and every lamp answers, after a\n"
      "random part of two seconds.");
  stage.SwitchOn("hall");
  stage.Expect({"kitchen", "answers a search", "lamp-kitchen", "10.77.0.2", "on"});
  stage.Expect({"hall", "appears by search", "lamp-kitchen", "10.77.0.2", "on"});

  stage.Heading(
      "The cellar's comes last. The hall hears its announcement; both answer its search.");
  stage.SwitchOn("cellar");
  stage.Expect({"hall", "appears by announcement", "lamp-cellar", "10.77.0.3", "on"});
  stage.Expect({"hall", "answers a search", "lamp-hall", "10.77.0.1", "on"});
  stage.Expect({"kitchen", "answers a search", "lamp-kitchen", "10.77.0.2", "on"});
  stage.Expect({"cellar", "appears by search", "lamp-hall", "10.77.0.1", "on"});
  stage.Expect({"cellar", "appears by search", "lamp-kitchen", "10.77.0.2", "on"});
}

void Change(Stage& stage) {
  stage.Heading("In the kitchen someone types a new status: off.");
  stage.TypeStatus("kitchen", "off");
  for (const char* host : {"hall", "cellar"})
    stage.Expect({host, "status changes, was on", "lamp-kitchen", "10.77.0.2", "off"});

  stage.Heading(
      "The cellar gets another address. Its lamp announces itself every second, for\n"
      "others may remember it for 3 seconds only (--notify-timeout 3).");
  stage.ChangeAddress("cellar", "10.77.0.33");
  stage.Expect({"hall", "address changes, was 10.77.0.3", "lamp-cellar", "10.77.0.33", "on"});
}

void Leave(Stage& stage) {
  stage.Heading("In the kitchen someone presses Ctrl-C. The lamp sends its byebye.");
  stage.PressCtrlC("kitchen");
  for (const char* host : {"hall", "cellar"})
    stage.Expect({host, "sends a byebye", "lamp-kitchen", "10.77.0.2", "off"});

  stage.Heading(
      "The cellar's lamp is killed: no byebye. What it announced is good for 3 seconds\n"
      "(--notify-timeout 3).");
  stage.Kill("cellar");
  stage.Expect({"hall", "expires without a byebye", "lamp-cellar", "10.77.0.33", "on"});
}

void Return(Stage& stage) {
  stage.Heading("Both come back.");
  stage.SwitchOn("kitchen");
  stage.Expect({"hall", "appears by announcement", "lamp-kitchen", "10.77.0.2", "on"});
  stage.SwitchOn("cellar");
  stage.Expect({"hall", "appears by announcement", "lamp-cellar", "10.77.0.33", "on"});
  stage.Expect({"cellar", "appears by search", "lamp-hall", "10.77.0.1", "on"});
  stage.Expect({"cellar", "appears by search", "lamp-kitchen", "10.77.0.2", "on"});

  stage.Heading("What a search on each host finds:");
  for (const char* host : {"hall", "kitchen", "cellar"})
    stage.ExpectTable(
        host, {"lamp-cellar 10.77.0.33 on", "lamp-hall 10.77.0.1 on", "lamp-kitchen 10.77.0.2 on"});
}

int Play() {
  std::puts(
      "Three hosts on a private network inside this machine: the hall, the kitchen and\n"
      "the cellar. No packet leaves it. On each runs ssdp-peer as a lamp, by the\n"
      "command shown. Below it stands what the lamps tell: the demo adds --json, and\n"
      "puts that in words.");
  Stage stage;
  for (const auto& scene : {Appear, Search, Change, Leave, Return}) scene(stage);
  return stage.Conclude() ? 0 : 1;
}

}  // namespace

int main() try {
  const std::string reason = support::EnterPrivateNetwork();
  if (reason.empty()) return Play();
  std::printf(
      "This machine allows no private network: %s\n"
      "It takes user namespaces: see the kernel's settings user.max_user_namespaces and\n"
      "kernel.unprivileged_userns_clone. A container may need its --privileged.\n",
      reason.c_str());
  return 1;
} catch (const ReaderGone&) {
  return 128 + SIGPIPE;  // what a shell reports when `| head` has read enough
} catch (const std::exception& error) {
  std::printf("The demo can't go on: %s\n", error.what());
  return 1;
}
