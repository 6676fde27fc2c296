#!/usr/bin/env bash
# Compiles every engine source with the i686 mingw-w64 compiler against the system's own d3d9.h, without linking.
# Left out is what only Linux has: the OpenGL device and the Linux halves of platform/.
set -euo pipefail
cd "$(dirname "$0")/../.."
compiler=${OSM_MINGW:-i686-w64-mingw32-g++}
jobs=${OSM_JOBS:-$(nproc)}
command -v "$compiler" >/dev/null || {
    echo "compile.sh: $compiler is missing; install the Debian package g++-mingw-w64-i686" >&2
    exit 1
}
out=build/windows
mkdir -p "$out/include"

# The image and compression libraries are plain C headers; only these are taken from the host.
machine=$(gcc -print-multiarch)
for header in bzlib.h zlib.h jpeglib.h jmorecfg.h jerror.h jconfig.h png.h pngconf.h pnglibconf.h; do
    for folder in "/usr/include/$machine" /usr/include; do
        if [ -e "$folder/$header" ]; then
            ln -sf "$folder/$header" "$out/include/$header"
            break
        fi
    done
done
# zlib's configuration for the host includes unistd.h through the compiler's own settings; mingw-w64 has one.
for folder in "/usr/include/$machine" /usr/include; do
    [ -e "$folder/zconf.h" ] && ln -sf "$folder/zconf.h" "$out/include/zconf.h" && break
done

# On Windows libjpeg takes the system's own boolean; its configuration for the host does not know that.
mv "$out/include/jconfig.h" "$out/include/jconfig_host.h"
cat >"$out/include/jconfig.h" <<'HEADER'
#include <basetsd.h>

#include "jconfig_host.h"
#ifndef __RPCNDR_H__
typedef unsigned char boolean;
#endif
#define HAVE_BOOLEAN
HEADER

export compiler out
compile() {
    local object="$out/${1//\//_}.o"
    if [ -e "$object" ] && [ -z "$(find src -newer "$object" \( -name '*.h' -o -path "$1" \) -print -quit)" ]; then
        return 0
    fi
    "$compiler" -std=c++20 -O0 -Wall -Wextra -Wno-cast-function-type -Werror -DWIN32_LEAN_AND_MEAN -DNOMINMAX \
        -Isrc -isystem "$out/include" -c "$1" -o "$object" || { echo "compile.sh: failed: $1" >&2; return 1; }
}
export -f compile

mapfile -t sources < <(find src -name '*.cpp' ! -path 'src/platform/gl/*' ! -path '*/linux/*' ! -name '*_linux.cpp' | sort)
printf '%s\n' "${sources[@]}" | xargs -P "$jobs" -I{} bash -c 'compile {}'
echo "${#sources[@]} engine sources compiled with $compiler"
