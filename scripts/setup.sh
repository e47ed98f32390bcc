# Shared by run, test, bench and .ci/run: installs what is missing, configures and builds.
# Sourced by bash with the working directory at the top of the source tree.

# Everything said here goes to stderr: stdout belongs to the program that is started afterwards.
say() { printf '%s\n' "$*" >&2; }
die() {
  say "$*"
  exit 1
}

on_terminal() { [ -t 2 ] && [ "${CI:-}" != true ]; }

is_debian_12() (
  [ -r /etc/os-release ] && command -v apt-get dpkg-query >/dev/null || exit 1
  . /etc/os-release
  case "$ID" in
    debian) [ "${VERSION_ID:-99}" -ge 12 ] ;;
    *) exit 1 ;;
  esac
)

# packages_of GROUP: the package names of one group of scripts/packages.
packages_of() {
  awk -v group="[$1]" '/^\[/ { inside = ($1 == group); next } inside { sub(/#.*/, ""); print }' scripts/packages
}
purpose_of() { awk -v group="[$1]" '$1 == group { sub(/^\[[^]]*\] */, ""); print }' scripts/packages; }

# missing_of GROUP: those that are not installed, on one line.
missing_of() {
  local names present
  names=$(packages_of "$1" | xargs)
  # shellcheck disable=SC2086
  present=" $(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $names 2>/dev/null | awk '$1 == "installed" { print $2 }' | xargs) "
  local name
  for name in $names; do
    case "$present" in *" $name "*) ;; *) printf '%s ' "$name" ;; esac
  done
}

as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif [ -t 0 ] && [ "${CI:-}" != true ]; then
    sudo "$@"
  else
    sudo -n "$@"
  fi
}

apt() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o DPkg::Lock::Timeout=180 "$@"
}

# The sound servers take part in a desktop's session once they are installed. A desktop that already has one
# keeps it, and the tests of the other say that they were left out.
leave_servers_alone() {
  [ "${CI:-}" != true ] && [ -d /run/systemd/system ] &&
    dpkg-query -W -f '${db:Status-Status}\n' pipewire-pulse pulseaudio 2>/dev/null | grep -qx installed
}

# install_groups GROUP...: says what is missing and why, and installs it.
install_groups() {
  if ! is_debian_12; then
    local tool
    for tool in clang++-19 ld.lld-19 cmake ninja pkg-config; do
      command -v "$tool" >/dev/null ||
        die "Lumbro installs its packages on Debian 12 or later; on this system install the packages named in scripts/packages yourself ($tool is missing)."
    done
    return
  fi
  local group lacking missing=""
  for group in "$@"; do
    [ "$group" = servers ] && leave_servers_alone && continue
    lacking=$(missing_of "$group")
    if [ "$group" = download ] && ! command -v npm >/dev/null; then
      lacking="$lacking npm "
    fi
    [ -n "$lacking" ] || continue
    [ -n "$missing" ] || say "Installing Debian packages that are missing:"
    say "  for $(purpose_of "$group"): $lacking"
    missing="$missing$lacking"
  done
  [ -n "$missing" ] || return 0
  [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
    die "Installing needs root: run this once as root, or give root: apt-get install --no-install-recommends $missing"

  local log=build/logs/packages.log
  mkdir -p build/logs
  # shellcheck disable=SC2086
  apt-cache show $missing >/dev/null 2>&1 || apt update >"$log" 2>&1 ||
    die "The package lists could not be read: $(tail -n 1 "$log")"
  # A list that is out of date names files that are gone: read it again once.
  # shellcheck disable=SC2086
  apt install --no-install-recommends $missing >>"$log" 2>&1 ||
    { apt update >>"$log" 2>&1 && apt install --no-install-recommends $missing >>"$log" 2>&1; } ||
    die "The packages could not be installed; the last lines of $log say why:
$(tail -n 5 "$log")"
}

# quietly NAME COMMAND...: its output goes to build/logs/NAME.log, and to stderr when it fails.
quietly() {
  local log="build/logs/$1.log"
  shift
  mkdir -p build/logs
  if ! "$@" >"$log" 2>&1; then
    tail -n 200 "$log" >&2
    return 1
  fi
}

# configure PRESET [CMAKE_OPTION...]: makes build/PRESET, again when the preset or an option has changed.
configure() {
  local preset=$1 wanted
  shift
  wanted="$(cksum <CMakePresets.json) $*"
  if [ -f "build/$preset/build.ninja" ] && [ "$(cat "build/$preset/configured" 2>/dev/null)" = "$wanted" ]; then
    return
  fi
  [ -e build/deps/whisper/stamp ] || say "Preparing the build; the first time this fetches and builds the speech recogniser, which takes about two minutes."
  quietly "configure-$preset" cmake --preset "$preset" "$@" || die "The build could not be configured."
  printf '%s\n' "$wanted" >"build/$preset/configured"
  # No reason to stop: the embedded recogniser needs no download.
  [ -e build/deps/whisper/stamp ] ||
    say "The better recogniser could not be fetched or built (build/$preset/fetch-whisper.err says why); going on with the embedded one."
}

# What the build tool says, with its progress on one line of a terminal and nothing when nothing was to be done.
progress() {
  local line open=""
  while IFS= read -r line; do
    case "$line" in
      "ninja: Entering directory "* | "ninja: no work to do." | *"Re-checking globbed directories..."*) ;;
      "["*/*"] "*)
        if on_terminal; then
          printf '\r\033[K%.78s' "$line"
          open=yes
        else
          printf '%s\n' "$line"
        fi
        ;;
      *)
        printf '%s%s\n' "${open:+$'\n'}" "$line"
        open=""
        ;;
    esac
  done
  printf '%s' "${open:+$'\r\033[K'}"
}

# build PRESET TARGET...: quiet unless it fails; on a terminal with progress, in CI with every step.
build() {
  local folder=build/$1
  shift
  [ -e "$folder/.ninja_log" ] || say "Building; this takes some minutes the first time."
  if on_terminal || [ "${CI:-}" = true ]; then
    (set -o pipefail && ninja -C "$folder" "$@" 2>&1 | progress >&2) || die "The build failed."
  else
    quietly build ninja -C "$folder" "$@" || die "The build failed; its output is above."
  fi
}
