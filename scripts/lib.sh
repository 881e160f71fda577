# Shared by the scripts: where the project is, and how they speak.
set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=${KELVORA_JOBS:-$(nproc)}
step_log=
trap 'rm -f "$step_log"' EXIT

# A compiler cache that cannot write (a read-only home) would fail each compilation.
if command -v ccache >/dev/null; then
  cache=$(ccache --get-config cache_dir 2>/dev/null) || cache=
  { mkdir -p "$cache" && [ -w "$cache" ]; } 2>/dev/null || export CCACHE_DISABLE=1
fi

say() { printf '%s\n' "$*" >&2; }

# step TITLE COMMAND...: runs a command quietly; its output is shown only when it fails. With
# only_news=1 a build that had nothing to do is not mentioned.
step() {
  local title=$1 started=$SECONDS status=0
  shift
  step_log=$(mktemp)
  if [ -t 2 ]; then printf '%s …\r' "$title" >&2; fi
  "$@" </dev/null >"$step_log" 2>&1 || status=$?
  if [ $status -eq 0 ] && [ "${only_news:-0}" = 1 ] && grep -q '^ninja: no work to do' "$step_log"; then
    if [ -t 2 ]; then printf '\r\033[K' >&2; fi
  elif [ $status -eq 0 ]; then
    say "$title: ok ($((SECONDS - started)) s)"
  else
    say "$title: FAILED (status $status):"
    cat "$step_log" >&2
    say "$(basename "$0"): stopped, because this failed: $title"
  fi
  rm -f "$step_log"
  return $status
}

# configure PRESET: once; later builds notice by themselves what changed.
configure() {
  if [ ! -f "$project/build/$1/build.ninja" ]; then
    (cd "$project" && cmake --preset "$1")
  fi
}

# build PRESET [TARGET...]: builds what changed.
build() {
  local preset=$1
  shift
  configure "$preset" || return 1
  ninja -C "$project/build/$preset" -j "$jobs" "$@"
}
