#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

#include "sensors/FanWrites.h"

namespace kelvora {

class Platform;

/// A fan of a lease, and the write that gives it back to the system.
struct LeasedFan {
  std::uint64_t fan = 0;
  FanWrite handBack;  ///< ("F0Md", "00"), or the minimum that was there before: ("F0Mn", "12c0")
};

/// A guardian takes no time-out that would never end: a request may be a program's own text.
inline constexpr std::chrono::milliseconds kLongestTimeout = std::chrono::hours(24);

/// What a holder asks of its guardian.
struct LeaseRequest {
  std::string program;                  ///< the holder's name, e.g. "kelvora"
  std::int64_t processIdentifier = 0;   ///< the holder's
  std::chrono::milliseconds timeout{};  ///< between two renewals
  std::vector<LeasedFan> fans;
  std::string machine;  ///< whose fans they are, `machineOf()`
};

/// The request as one line without its end, and back; none for a line that is no request.
std::string lineOf(const LeaseRequest& request);
std::optional<LeaseRequest> leaseRequestIn(std::string_view line);

/// A lease on the disk: of one fan, from before it was taken until after it was handed back.
struct LeaseRecord {
  std::string program;
  std::int64_t processIdentifier = 0;
  PropertyListValue::Date since;
  LeasedFan fan;
  std::string fault;    ///< why the guardian cannot hand the fan back; empty while it need not
  std::string machine;  ///< whose fan it is; empty if the file does not say
  std::int64_t guardian = 0;  ///< its process; 0 if the file does not say
};

/// The name under which the programs of an account lock a fan, and of its lease's file: "Fan0".
std::string leaseName(std::uint64_t fan);

/// The name under which a holder and its tools lock a fan for as long as any of them runs, and may
/// so set the fan: "Fan0.holder". The lock of the fan itself is the guardian's.
std::string holderLockName(std::uint64_t fan);

/// Whether there is a lease on the disk, or what a writer of it left that was killed.
bool hasLeaseFiles(Platform& platform, std::uint64_t fan);

/// What is on the disk of a fan's lease.
struct LeaseReading {
  bool exists = false;
  std::optional<LeaseRecord> record;
  std::string fault;  ///< of a file that cannot be read: its path and why; else empty
};
LeaseReading readLease(Platform& platform, std::uint64_t fan);
/// For a message, e.g. "Kelvora (process 612)".
std::string nameOfHolder(const LeaseReading& reading);
/// Empty on success, else the file and why it cannot be written.
std::string writeLease(Platform& platform, const LeaseRecord& record);
/// Also what a writer left that was killed. Empty on success, and without a lease; else the file
/// that cannot be removed.
std::string removeLease(Platform& platform, std::uint64_t fan);

}  // namespace kelvora
