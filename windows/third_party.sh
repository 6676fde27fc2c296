#!/usr/bin/env bash
# Builds the libraries of the Windows programs, static, from Debian's source packages.
# Usage: third_party.sh i686|x86_64 SOURCES PREFIX. Sources are fetched into SOURCES once; what lies in PREFIX already and
# was built by the same recipe is left alone.
set -euo pipefail

cpu=$1
here=$(cd "$(dirname "$0")" && pwd)
sources=$(mkdir -p "$2" && cd "$2" && pwd)
prefix=$(mkdir -p "$3/stamps" && cd "$3" && pwd)
jobs=${OSM_JOBS:-$(nproc)}
triplet=$cpu-w64-mingw32
work=$prefix/build

log=$prefix/log.txt

# build_cmake NAME SOURCE OPTION...
build_cmake() {
    local name=$1 source=$2
    shift 2
    cmake -S "$source" -B "$work/$name" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$here/toolchain-$cpu.cmake" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR:STRING=lib -DBUILD_SHARED_LIBS=OFF \
        -DCMAKE_POLICY_DEFAULT_CMP0074=NEW "$@" &&
        ninja -C "$work/$name" -j "$jobs" install
}

# build_plain LIBRARY FOLDER FILE...: for sources without a build of their own that would know of Windows.
build_plain() {
    local library=$1 folder=$2 objects=() file
    shift 2
    mkdir -p "$work/$library" "$prefix/lib" "$prefix/include"
    for file in "$@"; do
        "$triplet-gcc-posix" -O3 -c "$folder/$file.c" -o "$work/$library/$file.o"
        objects+=("$work/$library/$file.o")
    done
    rm -f "$prefix/lib/$library.a"
    "$triplet-ar" rcs "$prefix/lib/$library.a" "${objects[@]}"
}

build_bzip2() {
    local folder=$work/bzip2
    mkdir -p "$folder"
    cp "$sources"/bzip2/*.[ch] "$folder"
    # What its header says for Windows is about the library as a DLL.
    sed -i 's/^#\( *\)ifdef _WIN32$/#\1if 0/' "$folder/bzlib.h"
    build_plain libbz2 "$folder" blocksort huffman crctable randtable compress decompress bzlib
    cp "$folder/bzlib.h" "$prefix/include"
}

build_zlib() {
    build_plain libz "$sources/zlib" adler32 compress crc32 deflate gzclose gzlib gzread gzwrite infback inffast \
        inflate inftrees trees uncompr zutil
    cp "$sources/zlib/zlib.h" "$sources/zlib/zconf.h" "$prefix/include"
}

build_libpng1.6() {
    build_cmake libpng "$sources/libpng1.6" -DPNG_SHARED=OFF -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF
}

build_libjpeg-turbo() {
    build_cmake libjpeg "$sources/libjpeg-turbo" -DENABLE_SHARED=OFF -DWITH_TURBOJPEG=OFF -DREQUIRE_SIMD=ON
}

build_fmtlib() { build_cmake fmt "$sources/fmtlib" -DFMT_TEST=OFF -DFMT_DOC=OFF; }
build_pugixml() { build_cmake pugixml "$sources/pugixml"; }
build_cli11() {
    build_cmake cli11 "$sources/cli11" -DCLI11_BUILD_TESTS=OFF -DCLI11_BUILD_EXAMPLES=OFF -DCLI11_BUILD_DOCS=OFF
}
build_googletest() { build_cmake googletest "$sources/googletest" -DBUILD_GMOCK=OFF; }
# osmplay's window: video and events, and nothing that draws.
build_libsdl2() {
    local part options=()
    for part in AUDIO DIRECTX HAPTIC HIDAPI JOYSTICK LOCALE OPENGL OPENGLES POWER RENDER SENSOR VULKAN; do
        options+=("-DSDL_$part=OFF")
    done
    build_cmake sdl "$sources/libsdl2" -DSDL_SHARED=OFF -DSDL_TEST=OFF -DSDL2_DISABLE_SDL2MAIN=ON "${options[@]}"
}
build_imgui() {
    local objects=() file
    mkdir -p "$work/imgui" "$prefix/lib" "$prefix/include/imgui/backends"
    for file in imgui imgui_draw imgui_tables imgui_widgets backends/imgui_impl_dx9; do
        objects+=("$work/imgui/$(basename "$file").o")
        "$triplet-g++-posix" -O2 -I"$sources/imgui" -c "$sources/imgui/$file.cpp" -o "${objects[-1]}"
    done
    rm -f "$prefix/lib/libimgui.a"
    "$triplet-ar" rcs "$prefix/lib/libimgui.a" "${objects[@]}"
    cp "$sources/imgui/"{imgui,imconfig}.h "$prefix/include/imgui"
    cp "$sources/imgui/backends/imgui_impl_dx9.h" "$prefix/include/imgui/backends"
}

stamp_of() {
    local recipe
    recipe=$({ declare -f "build_$1" build_cmake build_plain; cat "$here"/toolchain*.cmake; } | sha256sum)
    echo "$prefix/stamps/$1-${recipe:0:16}"
}

wanted=()
for package in bzip2 zlib libpng1.6 libjpeg-turbo fmtlib pugixml cli11 googletest libsdl2 imgui; do
    [ -e "$(stamp_of "$package")" ] || wanted+=("$package")
done
[ ${#wanted[@]} -gt 0 ] || exit 0
"$here/fetch_source.sh" "$sources" "${wanted[@]}"
for package in "${wanted[@]}"; do
    printf 'building %s for %s\n' "$package" "$triplet"
    rm -rf "${work:?}"
    # A subshell of its own, as a condition would take away its "set -e".
    status=0
    (trap - ERR; set -e; "build_$package") >"$log" 2>&1 & wait $! || status=$?
    if [ "$status" -ne 0 ]; then
        tail -n 40 "$log" >&2
        echo "third_party.sh: $package does not build for $triplet; the whole log is in $log" >&2
        exit 1
    fi
    rm -f "$prefix/stamps/$package"-*
    touch "$(stamp_of "$package")"
done
rm -rf "${work:?}"
