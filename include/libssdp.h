// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_LIBSSDP_H
#define LIBSSDP_LIBSSDP_H

/// @mainpage
/// libSSDP: devices of one kind find each other on the local IPv4 network.
///
/// A host makes the service, sets what its device is, starts it, and is told through one callback
/// which devices come, change and leave:
///
///     CreateSSDP(true)               one service a process; true: announce by itself
///     SetDomainName(...) ... SetCallback(...)
///     Initialize()                   from here on the device is on the network
///     Search(), Announce(), GetDevices(...), the setters    as often as you like
///     Uninitialize()                 says goodbye and ends the library's threads
///     DestroySSDP()
///
/// **Results.** Every function returns an SSDP_STATUS: SSDP_SUCCESS, SSDP_FAILURE, or, where it
/// says so, SSDP_NOT_CREATED when there was no CreateSSDP before. What failed is also printed on
/// standard output, each failed check with its function, its condition and its source file. No
/// exception leaves the library.
///
/// **Threads.** The library runs three threads of its own, all with every signal blocked.
/// CreateSSDP, SetCallback, Initialize, Uninitialize and DestroySSDP belong to one controlling
/// thread, with no other call in flight. Everything else may be called from any thread, at any time
/// between CreateSSDP and DestroySSDP, unless it says otherwise. No function blocks for longer than
/// a copy takes, unless it says so.
///
/// **Which settings take effect when.** The domain name, device type, version, user agent and
/// server information are put into the messages by Initialize: set them before it, or restart the
/// service to have a change seen. UUID, status and both time-outs are read at every send and take
/// effect with the next one. The network interface is read by Initialize.
///
/// **The device itself is in its own table**: the network loops its announcements back, and they
/// are processed like a peer's. A host that does not want itself compares with its own UUID.
///
/// **512 bytes.** A receiver sees the first 512 bytes of a message, so the settings must leave it
/// within them. With target = 13 + domain name + device type + version, all in bytes, and a minus
/// sign counted as a digit:
///
///     announcement    2 × target + UUID + status + digits of the notify time-out        <= 390
///     search answer   2 × target + UUID + status + digits + server information          <= 389
///     search          target + user agent + digits of the search time-out               <= 413
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
constexpr SSDP_STATUS SSDP_FAILURE = 1;       ///< it was not; a line on standard output says why
constexpr SSDP_STATUS SSDP_NOT_CREATED = -1;  ///< CreateSSDP has not been called

/// One device on the network, as it last announced itself. All texts are as received, up to 512
/// bytes of anything: check them before they reach a terminal, a log or a file name.
struct DeviceInfo {
  /// When the device counts as gone, in seconds since the Unix epoch: the second in which its
  /// message arrived plus the message's "Cache-Control: max-age=" (UPnP Device Architecture 1.1,
  /// 1.2.2). Ends at the limits of the type instead of wrapping.
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
/// same address, be it with another status.
/// @{
constexpr unsigned int SSDP_DEVICE_ADDED = 1;     ///< a device that was not in the table
constexpr unsigned int SSDP_DEVICE_REMOVED = 2;   ///< a device said goodbye ("ssdp:byebye")
constexpr unsigned int SSDP_DEVICE_CHANGED = 4;   ///< a known device has another address
constexpr unsigned int SSDP_SEARCH_RECEIVED = 8;  ///< a device searches for us; we answer next
/// @}

/// The host's callback.
///
/// Runs on one of the library's threads, which receives nothing until it returns: be quick. For all
/// events but SSDP_SEARCH_RECEIVED the device table is locked meanwhile: calling GetDevices from
/// here waits for ever, and so does taking a lock that the host holds around a GetDevices or an
/// Uninitialize. Initialize, Uninitialize and DestroySSDP must not be called from here either.
/// Search, Announce, the setters and GetUUID may be. SSDP_SEARCH_RECEIVED comes without that lock:
/// it may run at the same time as a call for another event.
///
/// A device whose time runs out leaves the table without a call. An exception derived from
/// std::exception that leaves the callback is swallowed, with the message that led to it only
/// half taken over; any other ends the process.
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

/// Makes the one service of the process and opens its two sockets (one on UDP port 1900, shared
/// with every other program there that allows it). Sends nothing. A socket step that fails is
/// printed, and the service then runs without.
///
/// Call it once: a second call replaces the first service, which nobody can reach or free then.
/// Does not block.
///
/// @param announce  whether the service, once initialised, announces the device by itself: at once
///     and then every notify time-out, as long as that is above 0.
/// @return SSDP_SUCCESS; SSDP_FAILURE when memory ran out.
LIBSSDP_API SSDP_STATUS CreateSSDP(bool announce);

/// Frees the service; nothing when there is none. Only after an Uninitialize that returned
/// SSDP_SUCCESS: this function neither says goodbye nor ends the library's threads nor closes its
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
/// After an Uninitialize that succeeded it may be called again; the table then fills anew. A
/// CreateSSDP must have come before: that isn't checked. Does not block on the network.
///
/// @return SSDP_SUCCESS; SSDP_FAILURE when a step failed. The steps before it are not undone. To
///     try again after a thread could not be created, call Uninitialize first, which fails at the
///     missing thread, and then this.
LIBSSDP_API SSDP_STATUS Initialize();

/// Takes the device off the network: sends "ssdp:byebye" (UPnP Device Architecture 1.1, 1.2.3),
/// ends and joins the threads, closes the sockets, frees the table (every record that the host
/// still points to). No callback comes for these devices, and none at all once it has returned
/// SSDP_SUCCESS.
///
/// Blocks until the threads have ended: some 200 ms, and as long as a callback in progress takes.
/// An answer that waits out its delay is sent at once. A CreateSSDP must have come before: that
/// isn't checked. Call it before the process ends, too: threads that run while the program's global
/// objects are destroyed may use what is already gone.
///
/// @return SSDP_SUCCESS; SSDP_FAILURE when a step failed. It ends there: when the byebye can't be
///     sent, for the network is down or there was no Initialize, everything runs on. Try again
///     later, or end the process by _exit, which leaves those objects alone.
LIBSSDP_API SSDP_STATUS Uninitialize();

/// Sets how long, in seconds, others shall remember the device after each message (the max-age of
/// its announcements and answers; UPnP Device Architecture 1.1, 1.2.2) and, where CreateSSDP was
/// told to announce, the time between two announcements.
///
/// Unset it is -1, and is sent as -1: the device then never announces by itself, and peers drop it
/// within a second of hearing of it. 0 or less always switches the announcing off. Since both are
/// one value, a peer that loses one announcement forgets the device until the next.
///
/// @param seconds  above 0 for a device that shall be known to others.
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

/// Sets the status text that goes with every announcement and answer, in a header of this system's
/// own ("Status: "). Empty when unset.
///
/// No line end and no "ssdp:alive" in it: peers search the whole message, and would take what
/// stands here for a part of it.
///
/// @param status  any text that the 512 bytes have room for; copied, as every text is.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS SetStatus(std::string status);

/// Adds the known devices to `devices`, by UUID; a key that it already holds keeps its value.
///
/// The records stay the library's: neither free them nor write to them. They change when their
/// device is heard of again, and are freed when it says goodbye, when its time runs out, and by
/// Uninitialize, all on other threads: use them only where you know that none of this can happen.
/// To keep a record, copy what the callback is given.
///
/// Blocks while a callback runs; must not be called from one.
///
/// @param devices  where the records are added.
/// @return SSDP_SUCCESS, SSDP_FAILURE (memory) or SSDP_NOT_CREATED.
LIBSSDP_API SSDP_STATUS GetDevices(std::map<std::string, DeviceInfo*>& devices);

/// Sends one search (M-SEARCH; UPnP Device Architecture 1.1, 1.3.2) for devices of our own kind and
/// returns at once. Those that answer reach the callback, within the search time-out and the time
/// that the answers take to travel. Fails before the first Initialize, when there is nothing to
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

/// Sets the callback and what it is given as its last argument; the host owns that and keeps it
/// until Uninitialize has returned.
///
/// Set it before Initialize, on the same thread: the library's threads read it without a lock. A
/// host must have one: an answered search calls it without looking whether it is null.
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

/// Sets the text of the SERVER header of our answers (UPnP Device Architecture 1.1, 1.3.3). Takes
/// effect with Initialize. Empty when unset. A text that contains "ST: ", "USN: uuid:" or "Status:
/// " draws that header's value to itself and spoils the answers.
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
