// SPDX-License-Identifier: MIT
#include "devicetable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <limits>
#include <random>

namespace libSSDP {
namespace {

using namespace std::string_literals;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

DeviceInfo Device(const std::string& uuid, int32_t expiry = 100) {
  DeviceInfo device;
  device.m_uuid = uuid;
  device.m_expiry = expiry;
  return device;
}

// Texts that differ in their length alone, behind the eighth byte, in the sign of a byte.
const std::vector<std::string> ordered = {
    ""s,           "\0"s,        "\0\0"s,         "\0a"s,           "A"s,
    "AAAAAAAA"s,   "a"s,         "a\0"s,          "a\0\0\0\0\0\0"s, "a\0\0\0\0\0\0\0"s,
    "a\0b"s,       "abcdefg"s,   "abcdefg\0"s,    "abcdefg\0h"s,    "abcdefgh"s,
    "abcdefgh\0"s, "abcdefghi"s, "abcdefgh\x80"s, "abcdefg\x80"s,   "b"s,
    "\x7f"s,       "\x80"s,      "\xff\x01"s,     "\xff\xff"s};

class Entries : public testing::Test {
 protected:
  ~Entries() override { m_table.Clear(); }

  std::vector<std::string> Uuids() const {
    std::vector<std::string> uuids;
    for (const auto& entry : m_table.m_entries) uuids.push_back(entry.device->m_uuid);
    return uuids;
  }

  DeviceTable m_table;
};

TEST_F(Entries, StoresACopy) {
  DeviceInfo device = Device("a", 7);
  device.m_status = "ok";
  device.m_address = "10.0.0.1";
  DeviceInfo& stored = m_table.Add(device);
  EXPECT_NE(&stored, &device);
  EXPECT_EQ(stored.m_uuid, "a");
  EXPECT_EQ(stored.m_expiry, 7);
  EXPECT_EQ(stored.m_status, "ok");
  EXPECT_EQ(stored.m_address, "10.0.0.1");
  EXPECT_EQ(m_table.Find("a"), &stored);
}

TEST_F(Entries, IsOrderedByTheBytesOfTheUuids) {
  EXPECT_TRUE(std::is_sorted(ordered.begin(), ordered.end()));
  std::mt19937 random(1);
  for (int round = 0; round < 100; ++round) {
    std::vector<std::string> shuffled = ordered;
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    for (const auto& uuid : shuffled) m_table.Add(Device(uuid));
    EXPECT_THAT(Uuids(), ElementsAreArray(ordered));
    m_table.Clear();
  }
}

TEST_F(Entries, FindsWhatIsThereAndNothingElse) {
  for (const auto& uuid : ordered) {
    EXPECT_EQ(m_table.Find(uuid), nullptr);
    const DeviceInfo* stored = &m_table.Add(Device(uuid));
    EXPECT_EQ(m_table.Find(uuid), stored);
  }
  for (const auto& uuid : ordered) {
    ASSERT_NE(m_table.Find(uuid), nullptr);
    EXPECT_EQ(m_table.Find(uuid)->m_uuid, uuid);
  }
}

TEST_F(Entries, RemovesOnlyTheOneThatIsMeant) {
  for (const auto& uuid : ordered) m_table.Add(Device(uuid));
  std::vector<std::string> left = ordered;
  std::mt19937 random(2);
  while (!left.empty()) {
    const auto chosen = left.begin() + static_cast<std::ptrdiff_t>(random() % left.size());
    m_table.Remove(*chosen);
    m_table.Remove(*chosen);  // no longer there
    left.erase(chosen);
    EXPECT_THAT(Uuids(), ElementsAreArray(left));
  }
}

TEST_F(Entries, KeepsARecordsAddressWhateverComesAndGoes) {
  const DeviceInfo* stored = &m_table.Add(Device("m"));
  for (int i = 0; i < 1000; ++i) m_table.Add(Device("a" + std::to_string(i)));
  for (int i = 0; i < 1000; ++i) m_table.Add(Device("z" + std::to_string(i)));
  for (int i = 0; i < 1000; ++i) m_table.Remove("a" + std::to_string(i));
  EXPECT_EQ(m_table.Find("m"), stored);
  EXPECT_EQ(stored->m_uuid, "m");
}

TEST_F(Entries, RemovesWhatExpiredBeforeATimeAndKeepsTheOrder) {
  for (int i = 0; i < 10; ++i)
    m_table.Add(Device(std::string(1, static_cast<char>('a' + i)), i % 5));
  m_table.RemoveExpiredBefore(3);
  EXPECT_THAT(Uuids(), ElementsAreArray({"d", "e", "i", "j"}));
  m_table.RemoveExpiredBefore(int64_t{1} << 40);
  EXPECT_THAT(Uuids(), IsEmpty());
}

TEST_F(Entries, KeepsNoMemoryForThousandsThatAreGone) {
  m_table.Add(Device("real", 1000));
  for (int i = 0; i < 10000; ++i) m_table.Add(Device(std::to_string(i)));
  EXPECT_GE(m_table.m_entries.capacity(), 10000u);
  m_table.RemoveExpiredBefore(100);
  EXPECT_GE(m_table.m_entries.capacity(), 10000u);
  m_table.RemoveExpiredBefore(101);
  EXPECT_THAT(Uuids(), testing::ElementsAre("real"));
  EXPECT_LT(m_table.m_entries.capacity(), 10u);
}

TEST_F(Entries, KeepsRoomForThoseThatComeBackAtOnce) {
  for (int i = 0; i < 1024; ++i) m_table.Add(Device(std::to_string(i), i));
  m_table.RemoveExpiredBefore(700);
  EXPECT_EQ(m_table.m_entries.capacity(), 1024u);
}

TEST_F(Entries, KeepsNothingWhenCleared) {
  for (const auto& uuid : ordered) m_table.Add(Device(uuid));
  m_table.Clear();
  EXPECT_THAT(Uuids(), IsEmpty());
  EXPECT_EQ(m_table.m_entries.capacity(), 0u);
}

TEST_F(Entries, ClearsWhatNeverExpiresToo) {
  for (const auto& uuid : ordered) m_table.Add(Device(uuid, std::numeric_limits<int32_t>::max()));
  m_table.Clear();
  EXPECT_THAT(Uuids(), IsEmpty());
}

TEST_F(Entries, GivesItsEntriesButLeavesTheCallers) {
  DeviceInfo* a = &m_table.Add(Device("a"));
  m_table.Add(Device("b"));
  DeviceInfo mine = Device("b");
  std::map<std::string, DeviceInfo*> devices = {{"b", &mine}, {"c", nullptr}};
  m_table.CopyTo(devices);
  EXPECT_THAT(devices, UnorderedElementsAre(Pair("a", a), Pair("b", &mine), Pair("c", nullptr)));
}

// Any order of changes, over few UUIDs that share their beginnings, beside the standard's own map.
TEST_F(Entries, DoesWhatAnOrderedMapDoes) {
  std::mt19937 random(3);
  std::map<std::string, DeviceInfo*> model;
  for (int step = 0; step < 50000; ++step) {
    std::string uuid = random() % 2 == 0 ? "prefix--" : "";
    while (random() % 3 != 0) uuid += "\0a\xff"[random() % 3];
    const auto known = model.find(uuid);
    ASSERT_EQ(m_table.Find(uuid), known == model.end() ? nullptr : known->second);
    if (random() % 2 == 0) {
      m_table.Remove(uuid);
      model.erase(uuid);
    } else if (known == model.end()) {
      model[uuid] = &m_table.Add(Device(uuid));
    }
  }
  std::map<std::string, DeviceInfo*> devices;
  m_table.CopyTo(devices);
  EXPECT_EQ(devices, model);
  EXPECT_GT(devices.size(), 30u);
}

}  // namespace
}  // namespace libSSDP
