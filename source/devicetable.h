// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_DEVICETABLE_H
#define LIBSSDP_SOURCE_DEVICETABLE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "libssdp.h"

namespace libSSDP {

// The known devices: an ordered map from UUID to record, laid out flat. In a tree of thousands each
// step of a search waits for a node and then for its key; here the first eight bytes of the UUIDs
// stand in one block of memory, and a UUID itself is looked at only where those are equal. That is
// seldom, for a UUID begins with what differs most (RFC 4122, 4.1.2); where all begin alike it is
// every step, which then costs more than a tree's.
//
// Owns its records, and each keeps its address until it is removed. Records that are still there
// when the table is destroyed are not freed: whoever may have handed them out calls Clear before.
// No lock: that is the owner's.
class DeviceTable {
 public:
  DeviceTable() = default;
  DeviceTable(const DeviceTable&) = delete;
  DeviceTable& operator=(const DeviceTable&) = delete;

  // The record, or null.
  DeviceInfo* Find(const std::string& uuid) const;

  // Stores a copy of `device`, whose UUID must not be there yet, and gives it. Moves the entries
  // behind it: 16 bytes each.
  DeviceInfo& Add(const DeviceInfo& device);

  void Remove(const std::string& uuid);  // which needn't be there
  void RemoveExpiredBefore(int64_t time);
  void Clear();

  // Adds all entries to `devices`, whose own entries win. The records stay the table's.
  void CopyTo(std::map<std::string, DeviceInfo*>& devices) const;

 private:
  struct Entry {
    uint64_t head;  // the UUID's first eight bytes, as a number that orders as they do
    DeviceInfo* device;
  };
  struct Place {
    size_t index;  // where the UUID stands, or would
    bool taken;
  };

  static uint64_t Head(const std::string& uuid);
  Place Locate(const std::string& uuid) const;

  std::vector<Entry> m_entries;  // by UUID
};

}  // namespace libSSDP

#endif
