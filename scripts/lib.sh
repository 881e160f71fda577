# Shared by the scripts: where the project is, and how they report.
set -euo pipefail
project=$(cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd)
jobs=${KELVORA_JOBS:-$(nproc)}
step_log=
trap 'rm -f "$step_log"' EXIT

# A compiler cache that cannot write (a read-only home) would fail each compilation.
if command -v ccache >/dev/null; then
  cache=$(ccache --get-config cache_dir 2>/dev/null) || cache=
  { mkdir -p "$cache" && [ -w "$cache" ]; } 2>/dev/null || export CCACHE_DISABLE=1
fi

say() { printf '%s\n' "$*" >&2; }

# show_progress TITLE: copies its input to the log; on a terminal the last line is always shown.
show_progress() {
  local title=$1 columns line
  if [ ! -t 2 ]; then
    cat >"$step_log"
    return
  fi
  columns=$(tput cols 2>/dev/null) || columns=80
  printf '%s …' "$title" >&2
  while IFS= read -r line; do
    printf '%s\n' "$line" >>"$step_log"
    printf '\r\033[K%.*s' "$((columns - 1))" "$title: $line" >&2
  done
  printf '\r\033[K' >&2
}

# step TITLE COMMAND...: runs a command. A terminal shows its progress; its output is kept for the
# case that it fails. With only_news=1 a build that had nothing to do is not mentioned.
step() {
  local title=$1 started=$SECONDS status=0
  shift
  step_log=$(mktemp)
  "$@" </dev/null 2>&1 | show_progress "$title" || status=$?
  if [ $status -ne 0 ]; then
    say "$title: FAILED (status $status):"
    cat "$step_log" >&2
    say "$(basename "$0"): stopped, because this failed: $title"
  elif [ "${only_news:-0}" != 1 ] || ! grep -q '^ninja: no work to do' "$step_log"; then
    say "$title: ok ($((SECONDS - started)) s)"
  fi
  rm -f "$step_log"
  return $status
}

# configure PRESET [OPTION...]: once, and again after the presets changed. Later builds notice every
# other change by themselves.
configure() {
  local stamp=$project/build/$1/configured
  if [ ! "$stamp" -nt "$project/CMakePresets.json" ]; then
    (cd "$project" && cmake --preset "$@") && touch "$stamp"
  fi
}

# build PRESET [TARGET...]: builds what changed.
build() {
  local preset=$1
  shift
  configure "$preset" || return 1
  ninja -C "$project/build/$preset" -j "$jobs" "$@"
}
