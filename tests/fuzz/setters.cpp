// SPDX-License-Identifier: MIT
#include "ssdp.h"
#include "targets.h"
#include "trial.h"

namespace libSSDP {
extern SSDP* ssdpserver;
}

namespace fuzz {

namespace {

// Stores a setting as the application's setters do. When there is no memory for it the old value
// stays.
template <typename Config, typename Value>
void Store(Value Config::*field, const Value& value, Value& modelled) {
  Config config;
  config.*field = value;
  try {
    const memory::Counted counted;
    libSSDP::ssdpserver->SetConfig(config.m_name, config);
  } catch (const std::bad_alloc&) {
  }
  Config stored;
  libSSDP::ssdpserver->GetConfig(stored.m_name, stored);
  Require(stored.*field == value || memory::Failures() > 0, "what is set is stored");
  Require(stored.*field == value || stored.*field == modelled, "a failed set changes nothing");
  modelled = stored.*field;
}

struct Settings Take(Reader& reader) {
  struct Settings settings;
  settings.search_timeout = reader.Int();
  settings.notify_timeout = reader.Int();
  for (std::string* text : {&settings.domain, &settings.type, &settings.version, &settings.agent,
                            &settings.server, &settings.uuid, &settings.status})
    *text = reader.Until('\xff');
  // One that is repeated fills more than a datagram holds.
  const size_t times = reader.Byte() == 0xee ? 70000 / (settings.agent.size() + 1) : 0;
  for (size_t i = 0, size = settings.agent.size(); i < times; ++i)
    settings.agent.append(settings.agent, 0, size);
  return settings;
}

// The four that only the store sets, now to anything at all.
void TakeTemplates(Reader& reader, Templates& templates) {
  Store(&libSSDP::SearchTargetConfig::m_search_target, reader.Until('\xff'), templates.target);
  Store(&libSSDP::MSearchHeaderConfig::m_msearch_header, reader.Until('\xff'), templates.msearch);
  Store(&libSSDP::NotifyHeaderConfig::m_notify_header, reader.Until('\xff'), templates.notify);
  Store(&libSSDP::ResponseHeaderConfig::m_response_header, reader.Until('\xff'),
        templates.response);
}

// An application's call that sends: it fails when and only when nothing leaves.
void Call(Trial& trial, libSSDP::SSDP_STATUS (*call)(), bool (*model)(Model&)) {
  libSSDP::SSDP_STATUS status;
  {
    const memory::Counted counted;
    status = call();
  }
  const bool sends = model(trial.model);
  Require((status == libSSDP::SSDP_SUCCESS) == sends || trial.SomethingFailed(),
          "a call succeeds when its message leaves");
  trial.Judge();
}

void Talk(Trial& trial) {
  Call(trial, libSSDP::Announce, [](Model& model) { return model.Announce("ssdp:alive"); });
  Call(trial, libSSDP::Search, [](Model& model) { return model.Search(); });
  // Its own messages come back to it, and a peer of its kind searches and answers.
  const std::string& target = trial.model.templates.target;
  const Arrival search{"M-SEARCH * HTTP/1.1\r\nMX: 1\r\nST: " + target + "\r\n\r\n"};
  trial.Group({{trial.model.templates.notify}, search, {trial.model.templates.msearch}});
  trial.Unicast({{trial.model.templates.response}, search});
}

}  // namespace

// Two timeouts of 4 bytes, then texts that end in 0xFF: the seven that the application sets, and,
// behind one byte, what is stored as search target and templates afterwards.
void Setters(const std::string& input) {
  Reader reader(input);
  Trial trial(Take(reader));
  Talk(trial);
  if (reader.AtEnd()) return;
  TakeTemplates(reader, trial.model.templates);
  trial.Judge();
  Talk(trial);
  trial.world.Initialize();  // makes them anew: without a byebye that leaves there's no stop
  trial.model.Initialize();
}

}  // namespace fuzz
