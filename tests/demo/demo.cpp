// SPDX-License-Identifier: MIT
// Three lamps on three hosts of a private LAN, and all that they are told of each other. Its result
// is 0 when everything that it promises was seen.
#include <cstdio>
#include <exception>

#include "private_network.h"
#include "stage.h"

namespace {

void Appear(Stage& stage) {
  stage.Heading(
      "The hall and the kitchen switch their lamps on. Both lamps announce themselves,\n"
      "at once and then every 2 seconds. A lamp hears itself too.");
  stage.SwitchOn("hall", true);
  stage.Expect({"hall", "appears by announcement", "lamp-hall", "10.77.0.1", "on"});
  stage.SwitchOn("kitchen", true);
  stage.Expect({"hall", "appears by announcement", "lamp-kitchen", "10.77.0.2", "on"});
  stage.Expect({"kitchen", "appears by announcement", "lamp-kitchen", "10.77.0.2", "on"});
  stage.Expect({"kitchen", "appears by announcement", "lamp-hall", "10.77.0.1", "on"});
}

void ExpectAnswers(Stage& stage) {
  stage.Expect({"hall", "answers a search", "lamp-hall", "10.77.0.1", "on"});
  stage.Expect({"kitchen", "answers a search", "lamp-kitchen", "10.77.0.2", "on"});
  stage.Expect({"cellar", "answers a search", "lamp-cellar", "10.77.0.3", "on"});
}

void Search(Stage& stage) {
  stage.Heading(
      "The cellar switches a lamp on that announces nothing. It hears the others, they\n"
      "can't know of it.");
  stage.SwitchOn("cellar", false);
  stage.Expect({"cellar", "appears by announcement", "lamp-hall", "10.77.0.1", "on"});
  stage.Expect({"cellar", "appears by announcement", "lamp-kitchen", "10.77.0.2", "on"});
  stage.ExpectUnknown("hall", "lamp-cellar");
  stage.ExpectUnknown("kitchen", "lamp-cellar");

  stage.Heading("The hall searches. Every lamp answers, each after a random part of a second.");
  stage.Search("hall");
  ExpectAnswers(stage);
  stage.Expect({"hall", "appears by search", "lamp-cellar", "10.77.0.3", "on"});

  stage.Heading("The kitchen searches too.");
  stage.Search("kitchen");
  ExpectAnswers(stage);
  stage.Expect({"kitchen", "appears by search", "lamp-cellar", "10.77.0.3", "on"});
}

void Change(Stage& stage) {
  stage.Heading("The hall's lamp goes off. Its next announcement says so.");
  stage.SetStatus("hall", "off");
  for (const char* host : {"hall", "kitchen", "cellar"})
    stage.Expect({host, "status changes, was on", "lamp-hall", "10.77.0.1", "off"});

  stage.Heading("The kitchen gets another address.");
  stage.ChangeAddress("kitchen", "10.77.0.22");
  for (const char* host : {"hall", "kitchen", "cellar"})
    stage.Expect({host, "address changes, was 10.77.0.2", "lamp-kitchen", "10.77.0.22", "on"});
}

void Leave(Stage& stage) {
  stage.Heading("The cellar's lamp is stopped. It says goodbye.");
  stage.SwitchOff("cellar");
  stage.Expect({"hall", "says goodbye", "lamp-cellar", "10.77.0.3", "on"});
  stage.Expect({"kitchen", "says goodbye", "lamp-cellar", "10.77.0.3", "on"});

  stage.Heading(
      "The kitchen's lamp is killed: no goodbye. What it announced is good for 2 seconds,\n"
      "then the table drops it. No event tells of that, only a look at the table.");
  stage.Kill("kitchen");
  stage.ExpectVanished("hall", {"lamp-kitchen", "10.77.0.22", "on"});
}

void Return(Stage& stage) {
  stage.Heading("Both come back, the cellar's lamp announcing itself this time.");
  stage.SwitchOn("kitchen", true);
  stage.SwitchOn("cellar", true);
  stage.Expect({"hall", "appears by announcement", "lamp-kitchen", "10.77.0.22", "on"});
  stage.Expect({"hall", "appears by announcement", "lamp-cellar", "10.77.0.3", "on"});
  stage.Expect({"kitchen", "appears by announcement", "lamp-hall", "10.77.0.1", "off"});
  stage.Expect({"cellar", "appears by announcement", "lamp-hall", "10.77.0.1", "off"});
  stage.Expect({"cellar", "appears by announcement", "lamp-kitchen", "10.77.0.22", "on"});

  stage.Heading("The table that each host holds in the end:");
  for (const char* host : {"hall", "kitchen", "cellar"})
    stage.ExpectTable(host, {{"lamp-cellar", "10.77.0.3", "on"},
                             {"lamp-hall", "10.77.0.1", "off"},
                             {"lamp-kitchen", "10.77.0.22", "on"}});
}

int Play() {
  std::puts(
      "Three hosts on a private network inside this machine: the hall, the kitchen and the\n"
      "cellar. No packet leaves it. A line below is what the lamp on a host is told.");
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
} catch (const std::exception& error) {
  std::printf("The demo can't go on: %s\n", error.what());
  return 1;
}
