// SPDX-License-Identifier: MIT
#include "watch.h"

#include <algorithm>
#include <chrono>

#include "json.h"
#include "signals.h"
#include "tell.h"
#include "terminal.h"
#include "text.h"
#include "verbs.h"
#include "view.h"

namespace ssdp_peer {

bool Watcher::Search() {
  const bool sent = m_session.Search();
  if (!sent) TellUnsent("search");
  return sent;
}

std::vector<News> Watcher::Step() {
  std::vector<News> news;
  for (const auto& event : m_session.Take()) Take(event, news);
  m_presence.Step();
  for (const auto& peer : m_roster.Trim()) news.push_back({peer, false, Now()});
  for (const auto& peer : m_roster.Expire(Now())) news.push_back({peer, false, Now()});
  m_roster.Settle(Now());
  return news;
}

void Watcher::Take(const Event& event, std::vector<News>& news) {
  m_presence.Take(event);
  if (event.kind == libSSDP::SSDP_SEARCH_RECEIVED) {
    news.push_back({Peer(), true, event.time});
  } else if (event.kind == libSSDP::SSDP_DEVICE_REMOVED) {
    const Peer peer = m_roster.Left(event.device.m_uuid, event.time);
    if (peer.change == Change::kLeft) news.push_back({peer, false, event.time});
  } else if (!m_session.IsOwn(event)) {
    news.push_back({m_roster.Heard(event.device, event.time), false, event.time});
  }
}

// Every second something may expire, and the times on the screen are others.
Clock::time_point Watcher::NextStep() const {
  return std::min(m_presence.NextStep(), Clock::now() + std::chrono::seconds(1));
}

namespace {

// Where we are: interface and address.
std::string Place() {
  const Route route = MulticastRoute();
  return route.error != 0 ? "no route" : Printable(route.interface) + " " + route.source;
}

std::string PlainNews(const News& news) {
  if (news.searched) return TimeText(news.time) + " searched";
  const Peer& peer = news.peer;
  return TimeText(news.time) + " " + ChangeName(peer.change) + " " + PrintableWord(peer.address) +
         " " + PrintableWord(peer.uuid) + " " + Printable(peer.status);
}

// One line an event; that a peer is still there is news for the verbose alone.
int WatchPlain(const Options& options, Output& output, Session& session, Watcher& watcher) {
  Loop loop(session, output);
  while (loop.Wait(watcher.NextStep())) {
    for (const auto& news : watcher.Step()) {
      const bool routine = news.searched || news.peer.change == Change::kNone;
      if (routine && !options.verbose) continue;
      const std::string name = news.searched ? "searched" : ChangeName(news.peer.change);
      if (!options.json)
        output.Line(PlainNews(news));
      else
        output.Line(news.searched ? JsonEvent(name, news.time)
                                  : JsonPeer(name, news.peer, news.time));
    }
  }
  return kDone;
}

// What the message line shows: the latest message, until it is old.
class Message {
 public:
  void Set(const std::string& text) {
    m_text = text;
    m_end = Clock::now() + std::chrono::seconds(10);
  }
  std::string Text() const { return Clock::now() < m_end ? m_text : ""; }

 private:
  std::string m_text;
  Clock::time_point m_end;
};

// False: quit. A failure is told like every other, and so ends up in the message too.
bool ObeyKeys(const std::vector<Key>& keys, View& view, Watcher& watcher, Message& message) {
  for (const auto& key : keys) {
    if (view.Press(key) || key.kind != KeyKind::kText) continue;
    if (key.text == 'q') return false;
    if (key.text == 's' && watcher.Search()) message.Set("searched");
    if (key.text == 'a' && watcher.Announce()) message.Set("announced");
  }
  return true;
}

// Waits for what comes next. An Escape alone may be the start of another key, whose rest is not
// far.
bool AwaitKeys(Loop& loop, KeyReader& reader, Clock::time_point until, std::vector<Key>& keys) {
  const bool pending = reader.Pending();
  if (pending) until = std::min(until, Clock::now() + std::chrono::milliseconds(50));
  if (!loop.Wait(until)) return false;
  const std::string bytes = loop.TakeInput();
  keys = pending && bytes.empty() ? reader.Flush() : reader.Feed(bytes);
  return true;
}

int WatchLive(const Options& options, Output& output, Session& session, Watcher& watcher) {
  const bool color = WantColor(options.color, output);
  Captured captured;
  Screen screen(output);
  Loop loop(session, output);
  loop.ReadInput();
  Message message;
  View view;
  KeyReader reader;
  std::vector<Key> keys;
  do {
    if (TakePause() || !IsOurs(output.Descriptor())) screen.Pause();
    watcher.Step();
    if (const auto told = captured.Read(); !told.empty()) message.Set(told);
    const Scene scene = {options, watcher.Peers(), Place(), message.Text(), Now()};
    screen.Draw(view.Lines(scene, output.TerminalSize(), color));
  } while (AwaitKeys(loop, reader, watcher.NextStep(), keys) &&
           ObeyKeys(keys, view, watcher, message));
  return kDone;
}

}  // namespace

int Watch(const Options& options, Output& output) {
  const bool live = output.IsTerminal() && !options.json;
  Session session(options);
  Watcher watcher(options, session);
  if (!TellRunning(session) || !watcher.Announce()) return kNetwork;
  watcher.Search();  // the others shall not have to announce themselves before they are seen
  if (!live) TellStart(options, output);
  const int status = live ? WatchLive(options, output, session, watcher)
                          : WatchPlain(options, output, session, watcher);
  return EndSession(session) ? status : static_cast<int>(kNetwork);
}

}  // namespace ssdp_peer
