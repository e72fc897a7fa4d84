// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_LIBSSDP_H
#define LIBSSDP_LIBSSDP_H

/// @mainpage
/// libSSDP: devices of one kind find each other on the local IPv4 network.
///
/// An application creates the service, sets what its device is, starts it, and is told through one
/// callback which devices come, change and leave. The calls of a device that others find and keep,
/// in their order:
///
///     std::srand(...)            once, from something that differs between devices (the UUID)
///     CreateSSDP(true)           one service a process; true: announces periodically
///     SetDomainName(...)         these three are the kind of device: only the same kind is seen
///     SetDeviceType(...)
///     SetVersionInfo(...)
///     SetUUID(...)               the key under which peers keep the device
///     SetNotifyTimeOut(30)       seconds that peers keep it; unset, they drop it at once
///     SetMSearchTimeOut(1)       seconds within which peers respond to a Search
///     SetCallback(...)           required: an answered search calls it without a null check
///     Initialize()               from here on the device is on the network
///     Search(), Announce(), GetDevices(...), the setters    as often as needed
///     Uninitialize()             sends the byebye and ends the library's threads
///     DestroySSDP()
///
/// The other setters are optional. The library draws its response delays from rand: with the same
/// seed, all devices of one model respond to a search in the same millisecond.
///
/// **A deaf device.** If CreateSSDP ran before there was a network, or while another program held
/// port 1900 for itself, or if the interface was deleted and created again, the device hears
/// nothing, although every call succeeds. If CreateSSDP ran out of descriptors, it lacks one socket
/// or both: it doesn't hear, or Announce, Search and Uninitialize fail. The test: the device's own
/// announcement (its UUID, any event but SSDP_DEVICE_REMOVED) doesn't reach the callback within
/// some 10 s; allow more where searches with a large MX are answered. The cure: Uninitialize, then
/// Initialize, whatever the first returned; repeat it while the device stays deaf.
/// `examples/presence.cpp` does both.
///
/// **Results.** Every function returns an SSDP_STATUS: SSDP_SUCCESS, SSDP_FAILURE, or, where it
/// says so, SSDP_NOT_CREATED when there was no CreateSSDP before. Each failed check also prints a
/// line on standard output with its function, its condition and its source file. The line is
/// dropped when standard output can't take it at once, and raises no SIGPIPE. The library waits for
/// the stream's lock for at most 10 ms. A line can still block in two cases: another process fills
/// the same pipe at that moment, or a terminal that nobody reads can't be opened by its name. No
/// exception leaves the library.
///
/// **Threads.** The library runs three threads, all with every signal blocked. CreateSSDP,
/// SetCallback, Initialize, Uninitialize and DestroySSDP belong to one controlling thread, with no
/// other call in flight. Everything else may be called from any thread, at any time between
/// CreateSSDP and DestroySSDP, unless it says otherwise. No function blocks for longer than a copy,
/// a send or a failure line takes, unless it says so. Call none from a signal handler. Don't unload
/// the library (dlclose) before Uninitialize has succeeded: its threads run in it.
///
/// **fork.** A child process has no threads of the library. There every call on a service that its
/// parent runs returns SSDP_FAILURE (DestroySSDP: SSDP_SUCCESS) and uses nothing of the parent's.
/// The child may exec, call _exit, or create a service of its own with CreateSSDP. A service that
/// the parent created but didn't initialize, as before daemon(3), may be initialized in the child.
///
/// **Which settings take effect when.** The domain name, device type, version, user agent and
/// server information are put into the messages by Initialize: set them before it, or restart the
/// service to have a change seen. UUID, status and both timeouts are read at every send and take
/// effect with the next message. The network interface is read by Initialize.
///
/// A response that waits out its delay keeps the status, UUID and max-age from before the delay. It
/// overtakes a change made meanwhile: its searcher sees the old value until the next announcement.
/// After a change call Announce at once, and again after the longest MX of the peers (usually 5 s).
///
/// **The device itself is in its own table**: the network loops its announcements back, and they
/// are processed like a peer's. To leave it out, compare with its UUID.
///
/// **512 bytes.** A receiver sees the first 512 bytes of a message, so the settings must leave it
/// within them. With target = 13 + domain name + device type + version, all in bytes, and a minus
/// sign counted as a digit:
///
///     announcement     2 × target + UUID + status + digits of the notify timeout        <= 390
///     search response  2 × target + UUID + status + digits + server information         <= 389
///     search           target + user agent + digits of the search timeout               <= 413
///
/// **Which interface.** The system's routing decides which interface carries the multicast, not
/// SetNetworkInterface. Steer it with a route that is there before CreateSSDP:
/// `ip route add 239.0.0.0/8 dev eth1`.

#include <cstdint>
#include <map>
#include <string>

/// Marks what the shared library exports.
#if defined(__GNUC__)
#define LIBSSDP_API __attribute__((visibility("default")))
#else
#define LIBSSDP_API
#endif

/// Everything that the library offers: functions, results, a record and the callback's events.
namespace libSSDP {

/// The result of every function.
using SSDP_STATUS = int;
constexpr SSDP_STATUS SSDP_SUCCESS = 0;       ///< it was done
constexpr SSDP_STATUS SSDP_FAILURE = 1;       ///< it was not; a failure line says why
constexpr SSDP_STATUS SSDP_NOT_CREATED = -1;  ///< CreateSSDP has not been called

/// One device on the network, as it last announced itself. All texts are as received, up to 512
/// bytes of anything: check them before they reach a terminal, a log or a file name.
struct DeviceInfo {
  /// When the device counts as gone, in seconds since the Unix epoch: the second in which its
  /// message arrived plus the message's "Cache-Control: max-age=" (UPnP Device Architecture 1.1,
  /// 1.2.2). Ends at the limits of the type instead of wrapping. An expiry at the upper limit never
  /// passes; from 2038-01-19 on that is every one, and a device leaves by a byebye only.
  int32_t m_expiry = 0;
  /// What stands after "Status: ", a header of this system's own.
  std::string m_status;
  /// The IPv4 address that the message came from, dotted ("192.168.1.7").
  std::string m_address;
  /// What stands between "USN: uuid:" and the next ":" (UPnP Device Architecture 1.1, 1.2.2). The
  /// key of the device table.
  std::string m_uuid;
};

/// What a callback is about: one of these, or 0 for a known device that was heard of again from the
/// same address. A changed status comes with 0 too: compare `old` with `new_device`.
/// @{
constexpr unsigned int SSDP_DEVICE_ADDED = 1;     ///< a device that was not in the table
constexpr unsigned int SSDP_DEVICE_REMOVED = 2;   ///< a device sent "ssdp:byebye"
constexpr unsigned int SSDP_DEVICE_CHANGED = 4;   ///< a known device has another address
constexpr unsigned int SSDP_SEARCH_RECEIVED = 8;  ///< a device searches for us; we respond next
/// @}

/// The application's callback.
///
/// Runs on one of the library's threads, which receives nothing until it returns: be quick. For all
/// events but SSDP_SEARCH_RECEIVED the device table is locked meanwhile. A callback that blocks
/// therefore stops the periodic announcing too. Calling GetDevices from here deadlocks, and so does
/// taking a lock that the application holds around a GetDevices or an Uninitialize. Initialize,
/// Uninitialize, DestroySSDP and SetCallback must not be called from here either. Search, Announce,
/// the other setters and GetUUID may be. SSDP_SEARCH_RECEIVED comes without that lock: it may run
/// at the same time as a call for another event.
///
/// A device that expires leaves the table without a call. An exception derived from std::exception
/// that leaves the callback is caught, and the record may be partly updated. Any other exception
/// terminates the process.
///
/// @param old  the table's record of the device, valid during the call: for SSDP_DEVICE_ADDED a
///     copy of `new_device`; for 0 and SSDP_DEVICE_CHANGED still with the previous status and
///     address, which are replaced after the call; null for the other events.
/// @param new_device  what was received just now, valid during the call; null for
///     SSDP_SEARCH_RECEIVED.
/// @param event  one of the values above, or 0.
/// @param context  what SetCallback was given.
using SSDPCallback = void (*)(const DeviceInfo* old, DeviceInfo* new_device, unsigned int event,
                              void* context);

/// Creates the one service of the process and opens its two sockets (one on UDP port 1900, shared
/// with every other program there that allows it). Sends nothing. A socket step that fails is
/// printed, and the service carries on without it: see "A deaf device" above.
///
/// Call it once: a second call replaces the first service, which nobody can reach or free then.
/// Does not block.
///
/// @param announce  whether the service, once initialized, announces the device by itself: at once
///     and then every notify timeout, as long as that is above 0. The first announcement waits
///     until the clock is past 1970-01-01 by the notify timeout (a device without a set clock).
/// @return SSDP_SUCCESS; SSDP_FAILURE when memory ran out.
LIBSSDP_API SSDP_STATUS CreateSSDP(bool announce);

/// Frees the service; nothing when there is none. Only after an Uninitialize that returned
/// SSDP_SUCCESS: this function neither sends a byebye nor ends the library's threads nor closes its
/// sockets, and threads that still run would use what it frees.
///
/// The last call of all: the library does not forget the service's address, so any call after it is
/// undefined, another DestroySSDP too.
///
/// @return SSDP_SUCCESS.
LIBSSDP_API SSDP_STATUS DestroySSDP();

/// Puts the device on the network: makes the search target and the messages from the settings,
/// starts the threads and, where CreateSSDP was told so, the announcing. From here on the callback
/// is called.
///
/// May be called again: after an Uninitialize that succeeded, and the table then fills anew; after
/// one that failed, to open the sockets that were missing. It may then block as Uninitialize does;
/// otherwise it doesn't block. Precondition (unchecked): CreateSSDP has been called.
///
/// @return SSDP_SUCCESS, also without a socket (see "A deaf device" above); SSDP_FAILURE when a
///     step failed. The steps before it are not undone. To try again, call Uninitialize, then
///     this, whatever Uninitialize returned.
LIBSSDP_API SSDP_STATUS Initialize();

/// Takes the device off the network: sends "ssdp:byebye" (UPnP Device Architecture 1.1, 1.2.3),
/// ends and joins the threads, closes the sockets, frees the table (every record that the
/// application still points to). No callback comes for these devices, and none at all once it has
/// returned SSDP_SUCCESS.
///
/// Blocks until the threads have ended: some 200 ms, and as long as a callback in progress takes.
/// A response that waits out its delay is sent at once, after the byebye: its searcher then keeps
/// the device until its max-age, which is the notify timeout, has run out.
///
/// Precondition (unchecked): CreateSSDP has been called. Call it before the process ends, too:
/// threads that run while the program's global objects are destroyed may use freed objects.
///
/// @return SSDP_SUCCESS; SSDP_FAILURE when a step failed. The steps after it are not done: when the
///     byebye can't be sent (network down, or no Initialize before), everything runs on. Try again
///     later, or end the process by _exit, which destroys no objects. _exit also drops what stdio
///     has buffered, such as failure lines where standard output is a file.
LIBSSDP_API SSDP_STATUS Uninitialize();

/// Sets how long, in seconds, peers keep the device after each message (the max-age of its
/// announcements and responses; UPnP Device Architecture 1.1, 1.2.2) and, where CreateSSDP was told
/// to announce, the time between two announcements.
///
/// Unset it is -1, and is sent as -1: the device then never announces by itself, and peers drop it
/// within a second of hearing of it. 0 or less always switches the announcing off. Since both are
/// one value, a peer that loses one announcement forgets the device until the next: call Announce
/// more often, as `examples/presence.cpp` does.
///
/// @param seconds  above 0 for a device that peers keep.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetNotifyTimeOut(int seconds);

/// Sets the longest time, in seconds, that peers may take to answer a Search (MX; UPnP Device
/// Architecture 1.1, 1.3.2, which recommends 1 to 5). Each waits a random part of it.
///
/// Unset it is -1, and is sent as -1: peers that run this library take its magnitude, 1 second. 0
/// gets no answer.
///
/// @param timeout  above 0.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetMSearchTimeOut(int timeout);

/// Sets the status text that goes with every announcement and response, in a header of this
/// system's own ("Status: "). Empty when unset.
///
/// No line end and no "ssdp:alive" in it: peers search the whole message, and would take what
/// stands here for a part of it. Call Announce to have a new status seen before the next
/// announcement is due.
///
/// @param status  any text that the 512 bytes have room for; copied, as every text is.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetStatus(std::string status);

/// Adds the known devices to `devices`, by UUID; a key that it already holds keeps its value.
///
/// The records stay the library's: neither free them nor write to them. They change when their
/// device is heard of again, and are freed by its byebye, when it expires, and by
/// Uninitialize, all on other threads: use them only where you know that none of this can happen.
/// To keep a record, copy what the callback is given.
///
/// Blocks while a callback runs; must not be called from one.
///
/// @param devices  where the records are added.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS GetDevices(std::map<std::string, DeviceInfo*>& devices);

/// Sends one search (M-SEARCH; UPnP Device Architecture 1.1, 1.3.2) for devices of our own kind and
/// returns at once. Those that answer reach the callback, within the search timeout and the time
/// that the responses take to travel. Fails before the first Initialize, when there is nothing to
/// send, and between an Uninitialize and the next Initialize, when there is no socket.
///
/// @return SSDP_SUCCESS; SSDP_FAILURE when it did not leave whole; SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS Search();

/// Sends one announcement (NOTIFY with "ssdp:alive"; UPnP Device Architecture 1.1, 1.2.2) and
/// returns at once. It does so whether or not the service announces by itself. Fails when a Search
/// would.
///
/// @return SSDP_SUCCESS; SSDP_FAILURE when it did not leave whole; SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS Announce();

/// Sets the callback and what it is given as its last argument; the application owns that and keeps
/// it until Uninitialize has returned.
///
/// Set it before Initialize, on the same thread: the library's threads read it without a lock. It
/// is required: an answered search calls it without a null check.
///
/// @param callback  what is called.
/// @param context  handed to every call; the library does nothing else with it.
/// @return SSDP_SUCCESS or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetCallback(SSDPCallback callback, void* context);

/// Sets the name of the interface whose IPv4 address the service notes when it starts ("eth0").
/// That is all it does: the system's routing decides where the multicast goes. Empty when unset; an
/// unknown name does no harm.
///
/// @param interface  its name, as the system knows it.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetNetworkInterface(std::string interface);

/// Sets the first part of the search target, "urn:DOMAIN:device:TYPE:VERSION" (UPnP Device
/// Architecture 1.1, 1.2.2: NT; 1.3.2 and 1.3.3: ST), which says what kind of device this is. Only
/// devices whose search target begins with ours are seen. Takes effect with Initialize. Empty when
/// unset.
///
/// @param name  DOMAIN, by custom with "-" for each "." ("example-org").
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetDomainName(std::string name);

/// Sets the second part of the search target; see SetDomainName.
///
/// @param type  TYPE ("Lamp").
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetDeviceType(std::string type);

/// Sets the third part of the search target; see SetDomainName. A device of version 1 sees those of
/// version 10 too, for their target begins with its own.
///
/// @param version  VERSION ("1").
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetVersionInfo(std::string version);

/// Sets the text of the USER-AGENT header of our searches (UPnP Device Architecture 1.1, 1.3.2).
/// Takes effect with Initialize. Empty when unset.
///
/// @param agent  system, UPnP version and product ("Linux/6.1 UPnP/1.1 lamp/2.0").
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetUserAgent(std::string agent);

/// Sets the text of the SERVER header of our responses (UPnP Device Architecture 1.1, 1.3.3). Takes
/// effect with Initialize. Empty when unset. A text that contains "ST: ", "USN: uuid:" or "Status:
/// " draws that header's value to itself and spoils the responses.
///
/// @param info  system, UPnP version and product ("Linux/6.1 UPnP/1.1 lamp/2.0").
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetServerInfo(std::string info);

/// Sets the device's UUID (UPnP Device Architecture 1.1, 1.1.4; it travels in USN: 1.2.2, 1.3.3),
/// under which peers know it: any text without a ":", one for each device, the same after a
/// restart. Empty when unset.
///
/// @param uuid  by custom 36 characters, as uuidgen(1) prints them.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetUUID(std::string uuid);

/// Puts the device's UUID into `uuid`, empty when it was never set.
///
/// @param uuid  where it is put.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED (`uuid` is untouched then).
LIBSSDP_API SSDP_STATUS GetUUID(std::string& uuid);

}  // namespace libSSDP

#endif
