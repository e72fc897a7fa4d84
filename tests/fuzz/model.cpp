// SPDX-License-Identifier: MIT
#include "model.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <stdexcept>
#include <utility>

namespace fuzz {

using libSSDP::DeviceInfo;

namespace {

constexpr size_t kNone = std::string::npos;

// What a receiver sees of a datagram: its first 512 bytes up to the first NUL.
std::string Seen(const Arrival& arrival) {
  if (arrival.error != 0) return "";
  const std::string first = arrival.bytes.substr(0, 512);
  return first.substr(0, first.find('\0'));
}

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != kNone;
}

bool Behind(const std::string& text, const std::string& marker, std::string& value) {
  const size_t at = text.find(marker);
  if (at != kNone) value = text.substr(at + marker.size());
  return at != kNone;
}

}  // namespace

bool Insert(std::string& text, const std::string& marker, const std::string& value) {
  size_t at = 0;
  while (at + marker.size() <= text.size() && text.compare(at, marker.size(), marker) != 0) ++at;
  const bool found = at + marker.size() <= text.size();
  at = found ? at + marker.size() : marker.size() - 1;
  if (at > text.size()) return false;
  text = text.substr(0, at) + value + text.substr(at);
  return true;
}

int Number(const std::string& text) {
  size_t at = 0;
  while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0) ++at;
  const bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  double number = 0;  // exact up to 2^53, and beyond that only its being beyond int matters
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
    number = number * 10 + (text[at] - '0');
  number = negative ? -number : number;
  constexpr double lowest = std::numeric_limits<int>::min();
  constexpr double highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(number, lowest, highest));
}

void Model::Initialize() {
  templates.target = "urn:" + settings.domain + ":device:" + settings.type + ":" + settings.version;

  templates.msearch =
      "M-SEARCH * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: \r\n"
      "ST: \r\nUSER-AGENT: \r\n\r\n";
  Insert(templates.msearch, "ST: ", templates.target);
  Insert(templates.msearch, "USER-AGENT: ", settings.agent);

  templates.notify =
      "NOTIFY * HTTP/1.1\r\nHost: 239.255.255.250:1900\r\nCache-Control: max-age=\r\nNTS: \r\n"
      "NT: \r\nUSN: uuid:::\r\nStatus: \r\n\r\n";
  Insert(templates.notify, "NT: ", templates.target);
  Insert(templates.notify, "USN: uuid:::", templates.target);

  templates.response =
      "HTTP/1.1 200 OK\r\nCache-Control: max-age=\r\nDATE: \rEXT: \r\nSERVER: \r\nST: \r\n"
      "USN: uuid:::\r\nStatus: \r\n\r\n";
  Insert(templates.response, "SERVER: ", settings.server);
  Insert(templates.response, "ST: ", templates.target);
  Insert(templates.response, "USN: uuid:::", templates.target);
}

bool Model::Announce(const std::string& nts) {
  std::string message = templates.notify;
  const bool composed =
      Insert(message, "NTS: ", nts) &&
      Insert(message, "Cache-Control: max-age=", std::to_string(settings.notify_timeout)) &&
      Insert(message, "Status: ", settings.status) && Insert(message, "USN: uuid:", settings.uuid);
  return composed && Send("unicast", "239.255.255.250", 1900, message);
}

bool Model::Search() {
  std::string message = templates.msearch;
  return Insert(message, "MX: ", std::to_string(settings.search_timeout)) &&
         Send("unicast", "239.255.255.250", 1900, message);
}

bool Model::Send(const char* socket, const std::string& address, unsigned port,
                 const std::string& message) {
  if (m_chance.sends_fail || message.size() > 65507) return false;
  m_log.push_back(Sends(socket, address, port, message));
  return true;
}

// Under the table's lock, where there is a device.
void Model::Tell(unsigned event, const DeviceInfo* old, const DeviceInfo* new_device) {
  m_log.push_back(Event(event, old, new_device, new_device != nullptr ? 1 : 0));
  if (m_chance.host_calls) Announce("ssdp:alive");
  if (m_chance.host_throws) throw std::runtime_error("the host's");
}

void Model::HearGroup(const Arrival& arrival) {
  const std::string text = Seen(arrival);
  try {
    if (Has(text, "M-SEARCH * HTTP/1.1\r\n")) Answer(text, arrival);
    if (!Has(text, "NOTIFY * HTTP/1.1\r\n")) return;
    if (!Has(text, "NT: " + templates.target)) return;
    DeviceInfo device;
    if (!Read(text, false, arrival, device)) return;
    Has(text, "ssdp:alive") ? Alive(device) : Gone(device);
  } catch (const std::runtime_error&) {
    // The application's exception ends the work on this datagram, where it stands.
  }
}

void Model::HearUnicast(const Arrival& arrival) {
  const std::string text = Seen(arrival);
  DeviceInfo device;
  if (!Has(text, "ST: " + templates.target) || !Read(text, true, arrival, device)) return;
  try {
    Alive(device);
  } catch (const std::runtime_error&) {
  }
}

void Model::Answer(const std::string& text, const Arrival& arrival) {
  if (!Has(text, "ST: " + templates.target)) return;
  std::string mx;
  if (!Behind(text, "MX: ", mx) || Number(mx) == 0) return;
  std::string message = templates.response;
  const bool composed =
      Insert(message, "DATE: ", kDate) &&
      Insert(message, "Cache-Control: max-age=", std::to_string(settings.notify_timeout)) &&
      Insert(message, "Status: ", settings.status) && Insert(message, "USN: uuid:", settings.uuid);
  if (!composed) return;

  m_log.push_back(Waits(m_chance.random % std::abs(Number(mx) * int64_t{1000})));
  Tell(8, nullptr, nullptr);
  Send("group", Dotted(arrival.address), arrival.port, message);
}

bool Model::Read(const std::string& text, bool short_status_is_empty, const Arrival& arrival,
                 DeviceInfo& device) const {
  std::string max_age;
  std::string status;
  std::string uuid;
  if (!Behind(text, "Cache-Control: max-age=", max_age) || !Behind(text, "Status: ", status) ||
      !Behind(text, "USN: uuid:", uuid))
    return false;
  if (!Has(uuid, ":")) return false;
  if (status.size() < 4 && !short_status_is_empty) return false;

  constexpr int64_t lowest = std::numeric_limits<int32_t>::min();
  constexpr int64_t highest = std::numeric_limits<int32_t>::max();
  device.m_expiry =
      static_cast<int32_t>(std::clamp(m_chance.now + Number(max_age), lowest, highest));
  device.m_status = status.substr(0, status.size() < 4 ? 0 : status.size() - 4);
  device.m_uuid = uuid.substr(0, uuid.find(':'));
  device.m_address = Dotted(arrival.address);
  return true;
}

void Model::Alive(const DeviceInfo& device) {
  const bool known = table.count(device.m_uuid) == 1;
  DeviceInfo& stored = known ? table[device.m_uuid] : (table[device.m_uuid] = device);
  stored.m_expiry = device.m_expiry;
  const bool moved = stored.m_address != device.m_address;
  Tell(!known ? 1 : moved ? 4 : 0, &stored, &device);
  stored = device;
}

void Model::Gone(const DeviceInfo& device) {
  table.erase(device.m_uuid);
  Tell(2, nullptr, &device);
}

bool Model::IsAnnounceDue(int64_t last) const {
  return settings.notify_timeout > 0 && m_chance.now - last >= settings.notify_timeout;
}

void Model::Pass(bool announces) {
  if (announces) Announce("ssdp:alive");
  // The field's limit means "as long as I can tell".
  const int64_t limit = std::min<int64_t>(m_chance.now, std::numeric_limits<int32_t>::max());
  for (auto entry = table.begin(); entry != table.end();)
    entry = entry->second.m_expiry < limit ? table.erase(entry) : std::next(entry);
}

Lines Model::Happened() {
  return std::exchange(m_log, {});
}

}  // namespace fuzz
