#!/usr/bin/env bash
# Compiles what is installed and what must not compile, without building anything, on all processors.
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

# What every compiler is given. The version is what CMake defines for the sources of the program.
export given=$work/given
read -r -a packages <<<"$(pkg-config --cflags protobuf spdlog fmt)"
printf '%s\n' -fsyntax-only -Isrc "${packages[@]}" -Wall -Wextra -Wshadow -Wconversion -Werror \
    '-DOSTRANE_VERSION=\"0\"' >"$given"

mapfile -t headers < <(find src -name '*.h' | sort)
mapfile -t sources < <(find src -name '*.cpp' | sort)
pairs=(tests/compile/pairs/*.cpp)
alone=()
for header in "${headers[@]}"; do
    alone+=("$work/alone_$(tr / _ <<<"${header#src/}").cpp")
    # Twice, so that a header without a guard is seen.
    printf '#include "%s"\n#include "%s"\n' "${header#src/}" "${header#src/}" >"${alone[-1]}"
    printf '#include "%s"\n' "${header#src/}" >>"$work/all_headers.cpp"
done

# compilations OUTCOME FLAGS FILES..: a line for each file, to be compiled as the loop below says.
compilations() {
    printf "$1 $compiler -std=c++$standard $define $2 %s\n" "${@:3}"
}

# Of a pair, the allowed twin must compile, so that the forbidden one fails by what it forbids alone.
list_pairs() {
    compilations compiles "" "${pairs[@]}"
    compilations fails -DFORBIDDEN "${pairs[@]}"
}

list_all() {
    local compiler standard define
    for compiler in g++ clang++; do
        for standard in 17 20; do
            for define in "" -DNDEBUG; do
                if [[ $mode == full ]]; then
                    compilations compiles "" "$work/all_headers.cpp" "${sources[@]}" "${alone[@]}"
                    list_pairs
                elif [[ ! $define ]]; then
                    compilations compiles "" "$work/all_headers.cpp" src/common/protobuf_record_util.cpp
                    [[ $standard != 17 ]] || list_pairs
                    [[ $standard$compiler != 17g++ ]] || compilations compiles "" "${alone[@]}"
                fi
            done
        done
    done
}

# compilation OUTCOME COMPILER ARGUMENTS..: says what did not come out as it must.
compilation() {
    local must=$1 did=compiles said
    shift
    said=$("$@" "@$given" 2>&1) || did=fails
    if [[ $did != "$must" ]]; then
        printf '%s, and must not: %s\n%s\n' "$did" "$*" "$said"
    fi
}
export -f compilation

list_all >"$work/list"
xargs -a "$work/list" -P "$(nproc)" -I {} bash -c "compilation {}" | tee "$work/said"

failed=$(grep -c ', and must not: ' "$work/said") || true
printf '%d compilations of %d headers, %d sources and %d pairs, %d not as they must be\n' "$(wc -l <"$work/list")" \
    "${#headers[@]}" "${#sources[@]}" "${#pairs[@]}" "$failed"
((failed == 0))
