# shellcheck shell=bash
# What the scripts share. Sourced, never run; the sourcing script has set -euo pipefail.

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# Without a number from outside, one job for each processor.
ORV_JOBS="${ORV_JOBS:-$(nproc)}"

say()
{
    printf '==> %s\n' "$*"
}

die()
{
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

usage_error()
{
    printf '%s: %s\nTry "%s --help".\n' "$(basename "$0")" "$*" "$(basename "$0")" >&2
    exit 2
}

# The presets a user may name: those of CMakePresets.json that are not hidden.
known_presets()
{
    (cd "$ROOT" && cmake --list-presets=configure) | sed -n 's/^ *"\([^"]*\)".*/\1/p'
}

require_preset()
{
    known_presets | grep -qxF -- "$1" || usage_error "unknown preset '$1'; known: $(known_presets | tr '\n' ' ')"
}

# The thread sanitizer of g++ 12 cannot place its shadow memory where a kernel randomises addresses with more than 28
# bits, so its programs run without randomisation there.
run_for_preset()
{
    local preset="$1"
    shift
    local bits
    bits="$(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 0)"
    if [[ "$preset" == tsan ]] && ((bits > 28)) && setarch -R true 2>/dev/null; then
        setarch -R "$@"
    else
        "$@"
    fi
}

# configure_preset PRESET: a build folder that is there is only brought up to date.
configure_preset()
{
    local preset="$1"
    local options=()
    if command -v ccache >/dev/null; then
        options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    local log
    log="$(mktemp)"
    if ! (cd "$ROOT" && cmake --preset "$preset" "${options[@]}") >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        die "configuring '$preset' failed"
    fi
    rm -f "$log"
}

# build_preset PRESET [TARGET...]: all targets if none is named.
build_preset()
{
    local preset="$1"
    shift
    local targets=()
    if (($# > 0)); then
        targets=(--target "$@")
    fi
    configure_preset "$preset"
    # Test discovery runs the test programs while building.
    (cd "$ROOT" && run_for_preset "$preset" cmake --build --preset "$preset" --parallel "$ORV_JOBS" "${targets[@]}")
}

# The C++ files of the project, each ended by a zero byte: those that git knows, or all if this is no checkout.
cpp_files()
{
    cd "$ROOT" || return
    if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        # A file that is about to be removed is known but no longer there.
        git ls-files -z -- '*.h' '*.cpp' | while IFS= read -r -d '' file; do
            if [[ -f "$file" ]]; then
                printf '%s\0' "$file"
            fi
        done
    else
        find . \( -name .git -o -path ./build \) -prune -o \( -name '*.h' -o -name '*.cpp' \) -print0
    fi
}
