// SPDX-License-Identifier: MIT
#include "validation.h"

#include <algorithm>

#include "text.h"

namespace ssdp_peer {

namespace {

struct Part {
  const char* option;
  const std::string* text;
};

std::vector<Part> Kind(const Options& options) {
  return {{"--domain", &options.domain},
          {"--device-type", &options.device_type},
          {"--device-version", &options.device_version}};
}

std::vector<Part> AllParts(const Options& options) {
  auto parts = Kind(options);
  parts.insert(parts.end(), {{"--uuid", &options.uuid},
                             {"--status", &options.status},
                             {"--server", &options.server},
                             {"--user-agent", &options.user_agent},
                             {"--expect-interface", &options.interface}});
  return parts;
}

// The search target stands in a message `targets` times; `fixed` is all that has no option here.
Message Measure(const std::string& name, const Options& options, size_t fixed, size_t targets,
                const std::vector<Part>& others) {
  const auto shorter = [](const Part& a, const Part& b) { return a.text->size() < b.text->size(); };
  auto parts = Kind(options);
  parts.insert(parts.end(), others.begin(), others.end());
  size_t length = fixed + targets * SearchTarget(options).size();
  for (const auto& part : others) length += part.text->size();
  const auto longest = std::max_element(parts.begin(), parts.end(), shorter);
  return {name, static_cast<int>(length), longest->option};
}

size_t Digits(int number) {
  return std::to_string(number).size();
}

// Messages are read by looking for these anywhere in them, so a value that holds one would be taken
// for a header, or turn a byebye into an announcement.
const char* const kReserved[] = {"Cache-Control: max-age=",
                                 "NTS: ",
                                 "NT: ",
                                 "ST: ",
                                 "MX: ",
                                 "USN: uuid:",
                                 "USER-AGENT: ",
                                 "DATE: ",
                                 "SERVER: ",
                                 "Status: ",
                                 "ssdp:alive",
                                 "M-SEARCH * ",
                                 "NOTIFY * "};

std::string FindBadText(const Part& part) {
  const std::string option = std::string(part.option) + ": ";
  for (const char c : *part.text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\r' || c == '\n') return option + "must not contain a line end (CR or LF)";
    if (byte < 0x20 || byte == 0x7f) return option + "must not contain control characters";
  }
  for (const char* word : kReserved)
    if (part.text->find(word) != std::string::npos)
      return option + "must not contain \"" + word + "\", which means something in a message";
  return "";
}

}  // namespace

// The fixed lengths are what is left of 512 bytes by the limits in libssdp.h.
std::vector<Message> Messages(const Options& options) {
  const size_t notify_digits = Digits(options.notify_timeout);
  const Part uuid = {"--uuid", &options.uuid};
  const Part status = {"--status", &options.status};
  return {Measure("announcement", options, 512 - 390 + notify_digits, 2, {uuid, status}),
          Measure("search response", options, 512 - 389 + notify_digits, 2,
                  {uuid, status, {"--server", &options.server}}),
          Measure("search", options, 512 - 413 + Digits(options.mx), 1,
                  {{"--user-agent", &options.user_agent}})};
}

std::string FindBadValue(const Options& options) {
  auto needed = Kind(options);
  needed.push_back({"--uuid", &options.uuid});
  for (const auto& part : needed)
    if (part.text->empty()) return std::string(part.option) + ": must not be empty";
  for (const auto& part : AllParts(options)) {
    auto fault = FindBadText(part);
    if (!fault.empty()) return fault;
  }
  if (options.uuid.find(':') != std::string::npos)
    return "--uuid: must not contain a colon, which ends it in a message";
  return "";
}

std::string FindLongMessage(const Options& options) {
  for (const auto& message : Messages(options))
    if (message.length > kMessageLimit)
      return message.longest_part + ": the " + message.name + " would be " +
             std::to_string(message.length) + " bytes long, " +
             std::to_string(message.length - kMessageLimit) + " more than a receiver reads";
  return "";
}

std::string FindUnknownInterface(const Options& options, const std::vector<std::string>& known) {
  if (options.interface.empty()) return "";
  if (std::find(known.begin(), known.end(), options.interface) != known.end()) return "";
  std::string names;
  for (size_t i = 0; i < known.size(); ++i)
    names += (i == 0 ? "" : i + 1 < known.size() ? ", " : " and ") + known[i];
  return "--expect-interface: no interface \"" + Printable(options.interface) + "\"; there " +
         (known.size() == 1 ? "is " : "are ") + names;
}

void Validate(const Options& options, const std::vector<std::string>& interfaces) {
  std::string fault = FindBadValue(options);
  if (fault.empty() && options.verb != Verb::kDoctor) fault = FindLongMessage(options);
  if (fault.empty() && options.verb != Verb::kDoctor)
    fault = FindUnknownInterface(options, interfaces);
  if (!fault.empty()) throw UsageError(fault);
}

}  // namespace ssdp_peer
