// SPDX-License-Identifier: MIT
#include "trial.h"

#include <algorithm>

namespace fuzz {

using libSSDP::DeviceInfo;

namespace {

bool IsOneOf(const DeviceInfo& seen, const DeviceInfo& before, const DeviceInfo& after) {
  return (seen.m_expiry == before.m_expiry || seen.m_expiry == after.m_expiry) &&
         (seen.m_status == before.m_status || seen.m_status == after.m_status) &&
         (seen.m_address == before.m_address || seen.m_address == after.m_address) &&
         seen.m_uuid == before.m_uuid;
}

bool IsBetween(const Model::Table& seen, const Model::Table& before, const Model::Table& after) {
  for (const auto& [uuid, record] : seen) {
    const auto was = before.find(uuid);
    const auto is = after.find(uuid);
    if (was == before.end() && is == after.end()) return false;
    const DeviceInfo& older = was == before.end() ? is->second : was->second;
    const DeviceInfo& newer = is == after.end() ? was->second : is->second;
    if (!IsOneOf(record, older, newer)) return false;
  }
  return std::all_of(before.begin(), before.end(), [&](const auto& entry) {
    return seen.count(entry.first) == 1 || after.count(entry.first) == 0;
  });
}

Lines Listed(const Model::Table& table) {
  Lines lines;
  for (const auto& [uuid, record] : table) lines.push_back(uuid + " is " + Text(record));
  return lines;
}

}  // namespace

Trial::Trial(const Settings& settings) : model(chance), world(chance) {
  Set(settings);
  model.settings = settings;
  world.Initialize();
  model.Initialize();
}

void Trial::Group(const Arrivals& arrivals) {
  Follow(arrivals, &World::Group, &Model::HearGroup);
}

void Trial::Unicast(const Arrivals& arrivals) {
  Follow(arrivals, &World::Unicast, &Model::HearUnicast);
}

// One run of the loop, in which each datagram is a step: it is over when the next one is asked for.
void Trial::Follow(const Arrivals& arrivals, void (World::*run)(World::Source),
                   void (Model::*hear)(const Arrival&)) {
  size_t next = 0;
  (world.*run)([&]() -> const Arrival* {
    if (next > 0) (model.*hear)(arrivals[next - 1]);
    Judge();
    return next < arrivals.size() ? &arrivals[next++] : nullptr;
  });
}

void Trial::Judge() {
  const Lines seen = world.Happened();
  const Lines expected = model.Happened();
  happened += seen.size();
  if (SomethingFailed()) {
    JudgeGivenUp(seen, expected);
  } else {
    RequireSame(seen, expected);
    if (judges_tables && !world.HasDevices(model.table))
      RequireSame(Listed(world.Devices()), Listed(model.table));
  }
  if (memory::MayFail()) m_table = model.table;
  m_failures = memory::Failures();
}

void Trial::JudgeGivenUp(const Lines& seen, const Lines& expected) {
  const bool begins =
      seen.size() <= expected.size() && std::equal(seen.begin(), seen.end(), expected.begin());
  if (!begins) RequireSame(seen, expected);
  const Model::Table table = world.Devices();
  if (!IsBetween(table, m_table, model.table)) RequireSame(Listed(table), Listed(model.table));
  model.table = table;
}

void Set(const Settings& settings) {
  libSSDP::SetNetworkInterface("lo");
  libSSDP::SetDomainName(settings.domain);
  libSSDP::SetDeviceType(settings.type);
  libSSDP::SetVersionInfo(settings.version);
  libSSDP::SetUserAgent(settings.agent);
  libSSDP::SetServerInfo(settings.server);
  libSSDP::SetUUID(settings.uuid);
  libSSDP::SetStatus(settings.status);
  libSSDP::SetMSearchTimeOut(settings.search_timeout);
  libSSDP::SetNotifyTimeOut(settings.notify_timeout);
}

}  // namespace fuzz
