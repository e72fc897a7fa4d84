// SPDX-License-Identifier: MIT
#include "devicetable.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

namespace libSSDP {

uint64_t DeviceTable::Head(const std::string& uuid) {
  uint32_t halves[2] = {0, 0};
  std::memcpy(halves, uuid.data(), std::min(uuid.length(), sizeof(halves)));
  return uint64_t{ntohl(halves[0])} << 32 | ntohl(halves[1]);
}

DeviceTable::Place DeviceTable::Locate(const std::string& uuid) const {
  const uint64_t head = Head(uuid);
  size_t low = 0;
  size_t high = m_entries.size();
  while (low < high) {
    const size_t middle = (low + high) / 2;
    const Entry& entry = m_entries[middle];
    bool before = entry.head < head;
    if (entry.head == head) {
      const int order = entry.device->m_uuid.compare(uuid);
      if (order == 0) return {middle, true};
      before = order < 0;
    }
    if (before) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return {low, false};
}

DeviceInfo* DeviceTable::Find(const std::string& uuid) const {
  const Place place = Locate(uuid);
  return place.taken ? m_entries[place.index].device : nullptr;
}

DeviceInfo& DeviceTable::Add(const DeviceInfo& device) {
  auto copy = std::make_unique<DeviceInfo>(device);
  const auto index = static_cast<std::ptrdiff_t>(Locate(copy->m_uuid).index);
  m_entries.insert(m_entries.begin() + index, {Head(copy->m_uuid), copy.get()});
  return *copy.release();
}

void DeviceTable::Remove(const std::string& uuid) {
  const Place place = Locate(uuid);
  if (!place.taken) return;
  const auto entry = m_entries.begin() + static_cast<std::ptrdiff_t>(place.index);
  delete entry->device;
  m_entries.erase(entry);
}

void DeviceTable::RemoveExpiredBefore(int64_t time) {
  auto kept = m_entries.begin();
  for (const Entry& entry : m_entries) {
    if (entry.device->m_expiry < time) {
      delete entry.device;
    } else {
      *kept++ = entry;
    }
  }
  m_entries.erase(kept, m_entries.end());
  // What thousands of made-up devices needed isn't kept when they are gone.
  if (m_entries.size() < m_entries.capacity() / 4) m_entries.shrink_to_fit();
}

void DeviceTable::Clear() {
  RemoveExpiredBefore(std::numeric_limits<int64_t>::max());
}

void DeviceTable::CopyTo(std::map<std::string, DeviceInfo*>& devices) const {
  for (const Entry& entry : m_entries)
    devices.emplace_hint(devices.end(), entry.device->m_uuid, entry.device);
}

}  // namespace libSSDP
