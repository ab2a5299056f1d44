# Sourced by the scripts of the parent folder: the root of the project, messages, help and building.
set -euo pipefail

SCRIPT=$(realpath "$0")
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$ROOT"

say() { printf '\n== %s\n' "$*"; }
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the comment at the head of the calling script if --help is its first argument, and exits.
help_if_asked() {
    case "${1:-}" in
        -h | --help)
            sed -n '2,/^$/s/^# \{0,1\}//p' "$SCRIPT"
            exit 0
            ;;
    esac
}

# Whether the tests and the house can have their own network and mount namespaces on this machine.
has_namespaces() {
    unshare --map-root-user --net --mount true 2>/dev/null
}

# build PRESET [TARGET ...]: configures build/PRESET and builds the targets, all by default.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    cmake --preset "$preset" --log-level=WARNING
    cmake --build "build/$preset" --parallel "$(nproc)" ${1:+--target "$@"}
}
