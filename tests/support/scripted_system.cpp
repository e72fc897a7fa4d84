// SPDX-License-Identifier: MIT
#include "scripted_system.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cstring>

namespace support {

using namespace libSSDP;

ScriptedSystem::ScriptedSystem() {
  seam::Reset();
  ScriptSockets();
  ScriptThreads();
  ScriptTime();
}

void ScriptedSystem::ScriptSockets() {
  const auto logged = [this](const char* name) {
    log.emplace_back(name);
    return 0;
  };
  seam::calls.socket = [this, logged](int, int, int) {
    return logged("socket") + 1000 + sockets++;
  };
  seam::calls.bind = [logged](int, const sockaddr*, socklen_t) { return logged("bind"); };
  seam::calls.setsockopt = [logged](int, int, int, const void*, socklen_t) {
    return logged("setsockopt");
  };
  seam::calls.fcntl = [logged](int, int, int) { return logged("fcntl"); };
  seam::calls.sendto = [this, logged](int fd, const void* data, size_t size, int flags,
                                      const sockaddr* to, socklen_t length) {
    logged("sendto");
    sockaddr_in address;
    std::memcpy(&address, to, sizeof(address));
    sent.push_back({fd, std::string(static_cast<const char*>(data), size), flags,
                    inet_ntoa(address.sin_addr), ntohs(address.sin_port), length});
    return static_cast<ssize_t>(size);
  };
  seam::calls.recvfrom = [this, logged](int, void* data, size_t size, int, sockaddr* from,
                                        socklen_t* length) {
    logged("recvfrom");
    return Receive(data, size, from, length);
  };
  seam::calls.shutdown = [logged](int, int) { return logged("shutdown"); };
  seam::calls.close = [logged](int) { return logged("close"); };
  seam::calls.getifaddrs = [logged](ifaddrs** list) {
    *list = nullptr;
    return logged("getifaddrs");
  };
  seam::calls.freeifaddrs = [logged](ifaddrs*) { logged("freeifaddrs"); };
}

void ScriptedSystem::ScriptThreads() {
  seam::calls.pthread_create = [this](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) {
    log.emplace_back("pthread_create");
    return 0;
  };
  seam::calls.pthread_join = [this](pthread_t, void**) {
    log.emplace_back("pthread_join");
    return 0;
  };
  seam::calls.pthread_cond_timedwait = [this](pthread_cond_t*, pthread_mutex_t*, const timespec*) {
    log.emplace_back("wait");
    return ETIMEDOUT;
  };
  seam::calls.pthread_cond_signal = [this](pthread_cond_t*) {
    log.emplace_back("signal");
    return 0;
  };
}

void ScriptedSystem::ScriptTime() {
  seam::calls.gettimeofday = [this](timeval* time) {
    log.emplace_back("gettimeofday");
    *time = now;
    return 0;
  };
  seam::calls.time = [this](time_t*) {
    log.emplace_back("time");
    return now.tv_sec;
  };
  seam::calls.ctime_r = [](const time_t* time, char* text) {
    tm utc;
    return asctime_r(gmtime_r(time, &utc), text);
  };
  seam::calls.usleep = [this](useconds_t) {
    log.emplace_back("usleep");
    return 0;
  };
  seam::calls.rand = [this] {
    log.emplace_back("rand");
    return 0;
  };
}

void ScriptedSystem::Deliver(const std::string& data, const char* address, uint16_t port) {
  m_incoming.push_back({data, Address(address, port)});
}

ssize_t ScriptedSystem::Receive(void* data, size_t size, sockaddr* from, socklen_t* length) {
  if (m_incoming.empty()) {
    if (when_drained) when_drained();
    errno = EBADF;
    return -1;
  }
  const Received received = m_incoming.front();
  m_incoming.pop_front();
  const size_t taken = std::min(size, received.data.size());
  std::memcpy(data, received.data.data(), taken);
  std::memcpy(from, &received.from, std::min<size_t>(*length, sizeof(received.from)));
  return static_cast<ssize_t>(taken);
}

void ScriptedSystem::LogSettings() {
  seam::failures.get_config = [this](const std::string& name) {
    log.emplace_back("get " + name);
    return false;
  };
  seam::failures.set_config = [this](const std::string& name) {
    log.emplace_back("set " + name);
    return false;
  };
}

void ScriptedSystem::LogLocks() {
  seam::calls.pthread_mutex_lock = [this](pthread_mutex_t* mutex) {
    log.emplace_back("lock");
    return seam::real.pthread_mutex_lock(mutex);
  };
  seam::calls.pthread_mutex_unlock = [this](pthread_mutex_t* mutex) {
    log.emplace_back("unlock");
    return seam::real.pthread_mutex_unlock(mutex);
  };
}

void Engine::Callback(void* context, DeviceInfo* device, bool alive, bool searched) {
  auto& engine = *static_cast<Engine*>(context);
  engine.reports.push_back(
      {device != nullptr, device != nullptr ? *device : DeviceInfo(), alive, searched});
  if (engine.on_report) engine.on_report();
}

void SetLamp(SSDPDevice& device) {
  Set(device, &DomainNameConfig::m_domain_name, std::string("schemas-example-org"));
  Set(device, &DeviceTypeConfig::m_device_type, std::string("Light"));
  Set(device, &VersionConfig::m_version, std::string("1"));
  Set(device, &UserAgentConfig::m_user_agent, std::string("lamp/2.0 UPnP/1.1"));
  Set(device, &ServerInfoConfig::m_server_info, std::string("Linux/6.1 UPnP/1.1 lamp/2.0"));
  Set(device, &DeviceUUIDConfig::m_uuid, std::string("1234"));
  Set(device, &DeviceStatusConfig::m_status, std::string("ok"));
  Set(device, &NotifyTimeoutConfig::m_notify_timeout, 1800);
  Set(device, &MSearchTimeoutConfig::m_msearch_timeout, 3);
}

void SetPump(SSDPDevice& device) {
  Set(device, &DomainNameConfig::m_domain_name, std::string("a"));
  Set(device, &DeviceTypeConfig::m_device_type, std::string("Pump"));
  Set(device, &VersionConfig::m_version, std::string("10"));
  Set(device, &UserAgentConfig::m_user_agent, std::string("pump"));
  Set(device, &ServerInfoConfig::m_server_info, std::string("pump server"));
  Set(device, &DeviceUUIDConfig::m_uuid, std::string("2f4c-00"));
  Set(device, &DeviceStatusConfig::m_status, std::string("flow: 3 USN: uuid:9"));
  Set(device, &NotifyTimeoutConfig::m_notify_timeout, -5);
  Set(device, &MSearchTimeoutConfig::m_msearch_timeout, 2147483647);
}

}  // namespace support
