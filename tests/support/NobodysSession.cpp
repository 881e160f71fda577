// Part of every test program: no test finds the settings or the session bus of the user who runs
// it.
#include <cstdlib>

namespace {

const bool kNobodysSession = [] {
  setenv("XDG_CONFIG_HOME", "/dev/null/settings", 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/dev/null/bus", 1);
  unsetenv("XDG_RUNTIME_DIR");
  return true;
}();

}  // namespace
