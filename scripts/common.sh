# shellcheck shell=bash
# Helpers shared by the scripts in this folder. Source it; do not run it.

# shellcheck disable=SC2034 # used by the scripts that source this file
KELVORA_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# Two cores are all a developer machine or CI can count on.
KELVORA_JOBS="${KELVORA_JOBS:-2}"

section() {
  printf '\n==== %s ====\n' "$*"
}

note() {
  printf -- '-- %s\n' "$*"
}

die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# Runs a command as root: directly when we are root, else through sudo.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    sudo "$@"
  else
    die "need root (or sudo) for: $*"
  fi
}

# apt-get without questions, prompts or progress bars.
apt_quiet() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o=Dpkg::Use-Pty=0 "$@"
}
