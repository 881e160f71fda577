#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <sqlite3.h>

namespace kelvora::testing {

/// Watches the statements of a store: runs work of a test while one is executed, and counts rows.
/// The work runs on the store's own thread, after everything that the store looked at before the
/// statement and before the statement reads. Make it before the store is opened; one at a time.
class StatementHook {
 public:
  StatementHook() { sqlite3_auto_extension(entryPoint()); }
  ~StatementHook() {
    sqlite3_cancel_auto_extension(entryPoint());
    work() = nullptr;
  }
  StatementHook(const StatementHook&) = delete;
  StatementHook& operator=(const StatementHook&) = delete;

  /// At the next statement that contains `text`.
  void once(std::string text, std::function<void()> then) {
    work() = [text = std::move(text), then = std::move(then)](std::string_view sql) {
      if (sql.find(text) != std::string_view::npos) {
        const auto run = then;
        work() = nullptr;
        run();
      }
    };
  }
  /// Whether the statement of `once` is still to come.
  bool isWaiting() const { return work() != nullptr; }

  /// How many rows statements have returned so far.
  static std::size_t rows() { return rowCount(); }

 private:
  using Work = std::function<void(std::string_view)>;
  static Work& work() {
    static Work current;
    return current;
  }
  static std::size_t& rowCount() {
    static std::size_t rows = 0;
    return rows;
  }
  static int trace(unsigned event, void*, void*, void* sql) {
    if (event == SQLITE_TRACE_ROW) {
      ++rowCount();
    } else if (work() != nullptr) {
      const Work now = work();
      now(static_cast<const char*>(sql));
    }
    return 0;
  }
  static int attach(sqlite3* database, char**, const void*) {
    return sqlite3_trace_v2(database, SQLITE_TRACE_STMT | SQLITE_TRACE_ROW, trace, nullptr);
  }
  static void (*entryPoint())() { return reinterpret_cast<void (*)()>(attach); }
};

}  // namespace kelvora::testing
