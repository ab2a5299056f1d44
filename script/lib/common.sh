# Sourced by the scripts one folder up: where the project stands, and how they talk.
set -euo pipefail

SCRIPT=$(realpath "$0")
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
cd "$ROOT"

say() { printf '\n== %s\n' "$*"; }
die() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# Prints the comment at the head of the calling script when --help is its first argument.
help_if_asked() {
    case "${1:-}" in
        -h | --help)
            sed -n '2,/^$/s/^# \{0,1\}//p' "$SCRIPT"
            exit 0
            ;;
    esac
}

# Whether this machine gives the tests and the house network and mount namespaces of their own.
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
