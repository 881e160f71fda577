#pragma once

#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace kelvora::testing::mac {

/// The account book of the doubles: what was called, what is open, which calls are to fail. Any
/// thread.
class Ledger {
 public:
  static Ledger& shared();

  /// Records a call as "function(first, second)". Returns whether the test wants it to fail.
  template <typename... Arguments>
  bool called(const std::string& function, const Arguments&... arguments) {
    std::ostringstream text;
    [[maybe_unused]] const char* separator = "";
    ((text << separator << arguments, separator = ", "), ...);
    return recorded(function, function + "(" + text.str() + ")");
  }
  /// Counts a call without recording it: for functions of plain values, of which there are many.
  /// Returns whether the test wants it to fail.
  bool counted(const std::string& function);

  /// The n-th call of a function from now on fails.
  void failCall(const std::string& function, int number = 1);
  /// The n-th call of a function from now on fails, and every later one.
  void failCallsFrom(const std::string& function, int number = 1);
  /// No further call fails.
  void failNothing();

  /// The recorded calls, oldest first.
  std::vector<std::string> calls() const;
  /// Forgets the recorded calls.
  void forgetCalls();
  /// How often a function was called, recorded or not.
  int callCount(const std::string& function) const;

  /// Something of a kind ("CFString", "iterator") is the program's to close, or was closed.
  void opened(const std::string& kind);
  void closed(const std::string& kind);
  /// The kinds of which something is open, and how many.
  std::map<std::string, int> open() const;

  /// Fails the test: the program called `function` in a way that is not allowed.
  static void misuse(const std::string& function, const std::string& what);
  /// Fails the test unless the thread that called `reset` calls.
  void requireMainThread(const std::string& function) const;

  /// Forgets everything. The calling thread is the main thread from now on.
  void reset();

 private:
  struct Failures {
    int first = 0;
    bool goesOn = false;
  };

  bool recorded(const std::string& function, std::string call);
  bool countedLocked(const std::string& function);
  void fail(const std::string& function, int number, bool goesOn);

  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
  std::map<std::string, int> counts_;
  std::map<std::string, Failures> failures_;
  std::map<std::string, int> open_;
  std::thread::id mainThread_ = std::this_thread::get_id();
};

}  // namespace kelvora::testing::mac
