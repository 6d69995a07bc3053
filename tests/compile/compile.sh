#!/usr/bin/env bash
# Compiles what is installed and what must not compile, without building anything.
#
#   compile.sh light   every header alone, once; all headers together and the field operations once a compiler
#                      and standard; every forbidden use and its allowed twin once a compiler
#   compile.sh full    every header alone, every source and every pair with both compilers, both standards, with
#                      and without NDEBUG
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
mode=$1
work=build/check/compile
rm -rf "$work"
mkdir -p "$work"

read -r -a packages <<<"$(pkg-config --cflags protobuf spdlog fmt)"
warnings=(-Wall -Wextra -Wshadow -Wconversion -Werror)
# What CMake defines for the sources of the program.
given=('-DOSTRANE_VERSION="0"')
count=0
failed=0

# try COMPILER STANDARD FLAGS.. FILE: whether it compiles; what the compiler says goes to $work/said.
try() {
    local compiler=$1 standard=$2
    shift 2
    "$compiler" "-std=c++$standard" -fsyntax-only -Isrc "${packages[@]}" "${warnings[@]}" "${given[@]}" "$@" >"$work/said" 2>&1
}

must_compile() {
    count=$((count + 1))
    if ! try "$@"; then
        failed=$((failed + 1))
        printf 'does not compile: %s\n' "$*"
        cat "$work/said"
    fi
}

# The allowed twin first: a forbidden use must fail by what it forbids alone.
pair() {
    must_compile "$@"
    count=$((count + 1))
    if try "${@:1:2}" -DFORBIDDEN "${@:3}"; then
        failed=$((failed + 1))
        printf 'compiles, and must not: %s\n' "$*"
    fi
}

mapfile -t headers < <(find src -name '*.h' | sort)
mapfile -t sources < <(find src -name '*.cpp' | sort)
for header in "${headers[@]}"; do
    # Twice, so that a header without a guard is seen.
    printf '#include "%s"\n#include "%s"\n' "${header#src/}" "${header#src/}" >"$work/alone_$(tr / _ <<<"${header#src/}").cpp"
    printf '#include "%s"\n' "${header#src/}" >>"$work/all_headers.cpp"
done

defines=("")
if [[ $mode == full ]]; then
    defines+=(-DNDEBUG)
fi
for compiler in g++ clang++; do
    for standard in 17 20; do
        for define in "${defines[@]}"; do
            flags=(${define:+"$define"})
            must_compile "$compiler" "$standard" "${flags[@]}" "$work/all_headers.cpp"
            if [[ $mode == full ]]; then
                for source in "${sources[@]}" "$work"/alone_*.cpp; do
                    must_compile "$compiler" "$standard" "${flags[@]}" "$source"
                done
            else
                must_compile "$compiler" "$standard" "${flags[@]}" src/common/protobuf_record_util.cpp
            fi
            if [[ $mode == full || $standard == 17 ]]; then
                for file in tests/compile/pairs/*.cpp; do
                    pair "$compiler" "$standard" "${flags[@]}" "$file"
                done
            fi
        done
    done
done
if [[ $mode == light ]]; then
    for source in "$work"/alone_*.cpp; do
        must_compile g++ 17 "$source"
    done
fi

printf '%d compilations of %d headers, %d sources and %d pairs, %d not as they must be\n' "$count" "${#headers[@]}" \
    "${#sources[@]}" "$(find tests/compile/pairs -name '*.cpp' | wc -l)" "$failed"
((failed == 0))
