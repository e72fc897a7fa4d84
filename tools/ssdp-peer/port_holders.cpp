// SPDX-License-Identifier: MIT
// Who has UDP port 1900, by proc(5): /proc/net/udp and udp6 give a socket's inode, and the links in
// /proc/PID/fd the program that holds it open.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "network.h"
#include "text.h"

namespace ssdp_peer {

namespace {

namespace fs = std::filesystem;

// An IPv6 socket has IPv4's port too when its address is :: or an IPv4 address mapped,
// ::ffff:a.b.c.d (that it is for IPv6 alone all the same, the table doesn't tell).
bool IsAtPort(const std::string& local) {
  const size_t colon = std::min(local.find(':'), local.size());
  if (local.substr(colon) != ":076C") return false;
  const std::string address = local.substr(0, colon);
  return address.size() == 8 || address == std::string(32, '0') ||
         address.substr(0, 24) == "0000000000000000FFFF0000";
}

// Adds a table's sockets at the port, with their owners' user numbers.
void AddSockets(const char* name, std::map<std::string, std::string>& sockets) {
  std::ifstream table(name);
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    // slot, local address, ..., 7: user, 8: time-out, 9: inode
    const std::vector<std::string> field(std::istream_iterator<std::string>(fields), {});
    if (field.size() >= 10 && IsAtPort(field[1])) sockets[field[9]] = field[7];
  }
}

std::set<std::string> SocketsOf(const fs::path& process) {
  std::set<std::string> inodes;
  std::error_code error;
  for (fs::directory_iterator fd(process / "fd", error), end; !error && fd != end;
       fd.increment(error)) {
    std::error_code gone;
    const std::string target = fs::read_symlink(fd->path(), gone);
    if (target.rfind("socket:[", 0) == 0) inodes.insert(target.substr(8, target.size() - 9));
  }
  return inodes;
}

std::string NameOf(const fs::path& process) {
  std::string name;
  std::getline(std::ifstream(process / "comm"), name);
  return Printable(name) + " (pid " + process.filename().string() + ")";
}

bool IsProcess(const fs::path& path) {
  const std::string name = path.filename();
  return name.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::vector<std::string> PortHolders() {
  std::map<std::string, std::string> sockets;
  for (const char* table : {"/proc/net/udp", "/proc/net/udp6"}) AddSockets(table, sockets);
  std::vector<std::string> holders;
  std::error_code error;
  for (fs::directory_iterator process("/proc", error), end; !error && process != end;
       process.increment(error)) {
    if (!IsProcess(process->path())) continue;
    bool holds = false;
    for (const auto& inode : SocketsOf(process->path())) holds = sockets.erase(inode) > 0 || holds;
    const bool own = process->path().filename() == std::to_string(getpid());
    if (holds && !own) holders.push_back(NameOf(process->path()));
  }
  for (const auto& [inode, user] : sockets)
    holders.push_back("a program of user " + user + " that only root can look into");
  return holders;
}

}  // namespace ssdp_peer
