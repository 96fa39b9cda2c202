#!/usr/bin/env bash
# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# Checks what clients get of the Debian packages, unpacked in a folder: the library, the headers, and that the examples
# are built outside of the project and run on the emulated phone.
#     scripts/check-kit.sh TREE      the folder with bivista and bivista-dev
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/common.sh

tree=$1
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libraries=$tree/usr/lib/$triplet
library=$libraries/libbivista.so.1
work=build/check-kit
outcome=0
complain() { say "$*"; outcome=1; }
rm -rf $work
mkdir -p $work

say "the library"
dynamic() { readelf -dW "$library" | sed -n "s/.*($1).*\[\(.*\)\]/\1/p"; }
[ "$(dynamic SONAME)" = libbivista.so.1 ] || complain "$library: its soname is $(dynamic SONAME)"
[ "$(dynamic RUNPATH)" = "/usr/lib/$triplet/android" ] || complain "$library: looks for libraries in $(dynamic RUNPATH)"
[ "$(readlink "$libraries/libbivista.so")" = libbivista.so.1 ] || complain "libbivista.so leads elsewhere"
nm -D --defined-only "$library" | awk '{ print $3 }' | sort -u >$work/exported
# Names of other libraries, and of what no header declares.
c++filt <$work/exported | sed 's/^\(.*thunk to\|.*table for\|VTT for\|typeinfo\( name\)\? for\) //' |
    grep -E '^(kj|capnp|std)::|^android::hardware::(transport|registry|calls|wire)::' | grep -v '^std::.* android::' \
    >$work/leaked || true
[ ! -s $work/leaked ] || complain "$library exports what is not for clients:" "$(head -n 5 $work/leaked)"
# What these take of our code: the conformance suite is a client of every method, the others serve.
mapfile -t objects < <(find build/release/interfaces build/release/host/hidl build/release/host/log -name '*.o')
nm --defined-only "${objects[@]}" | awk '$2 ~ /[TDBRV]/ { print $3 }' | sort -u >$work/ours
mapfile -t objects < <(find build/release/{vts,service,emulator/phone/neighbours} -name '*.o')
nm -u "${objects[@]}" | awk '{ print $2 }' | sort -u | comm -12 - $work/ours | comm -23 - $work/exported |
    c++filt >$work/missing
[ ! -s $work/missing ] || complain "$library does not export what clients need:" "$(head -n 5 $work/missing)"

say "the headers"
# In both orders: each finds what it includes, whatever came before it.
(cd "$tree/usr/include/bivista" && find . -name '*.h') | sed 's#^./\(.*\)#\#include <\1>#' | sort >$work/forth.cpp
sort -r $work/forth.cpp >$work/back.cpp
[ "$(wc -l <$work/forth.cpp)" -gt 50 ] || complain "there are only $(wc -l <$work/forth.cpp) headers"
export PKG_CONFIG_PATH=$libraries/pkgconfig
package() { pkg-config --define-variable=prefix="$tree/usr" "$@" bivista; }
for compiler in g++ clang++; do
    for order in forth back; do
        # shellcheck disable=SC2046
        $compiler $(package --cflags) -fsyntax-only -Wall -Wextra -Werror $work/$order.cpp || complain "$compiler: $order"
    done
done
hidl-gen -R -o $work/hal -L c++ -r "vendor.qmx.hardware:$tree/usr/share/bivista/interfaces/vendor.qmx.hardware" \
    -r "android.hidl:$tree/usr/share/bivista/interfaces/android.hidl" vendor.qmx.hardware.bivista@1.1 ||
    complain "hidl-gen does not take the installed interfaces"

# build_with HOW COMPILER: both examples into a folder.
build_with_cmake() {
    local folder=$work/cmake-$1 example
    for example in cpp-client neighbour; do
        cmake -S examples/$example -B "$folder/$example" -G Ninja -DCMAKE_PREFIX_PATH="$tree/usr" \
            -DCMAKE_CXX_COMPILER="$1" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" &&
            cmake --build "$folder/$example" || return
    done
}
build_with_pkg-config() {
    local folder=$work/pkg-config-$1 example
    mkdir -p "$folder"
    cp -r examples/* "$folder"
    for example in cpp-client neighbour; do
        make -C "$folder/$example" CXX="$1" CXXFLAGS="-O2 -Wall -Wextra -Werror" \
            PKG_CONFIG="pkg-config --define-variable=prefix=$tree/usr" || return
    done
}
export PATH=$tree/usr/bin:$PATH
for how in cmake pkg-config; do
    for compiler in g++ clang++; do
        started=$SECONDS
        built=$work/$how-$compiler
        "build_with_$how" $compiler >$built.log 2>&1 || { tail -n 20 $built.log; complain "$how and $compiler: not built"; continue; }
        LD_LIBRARY_PATH=$libraries scripts/run-examples.sh $built/cpp-client/bivista-example-client \
            $built/neighbour/bivista-example-neighbour examples/cpp-client/panel.png ||
            complain "$how and $compiler: the examples do not run"
        say "examples by $how and $compiler, built and run: $((SECONDS - started)) s"
    done
done

# find_package refuses another major version, and says what is missing.
finds() { cmake -S $work/finds -B $work/finds/build "$@" >$work/finds.log 2>&1; }
mkdir $work/finds
cat >$work/finds/CMakeLists.txt <<'TEXT'
cmake_minimum_required(VERSION 3.25)
project(finds LANGUAGES CXX)
find_package(bivista ${WANTED} REQUIRED)
find_package(bivista ${WANTED} REQUIRED)
TEXT
finds -DCMAKE_PREFIX_PATH="$tree/usr" -DWANTED=1.0 || complain "find_package does not find version 1.0 or later"
rm -r $work/finds/build
if finds -DCMAKE_PREFIX_PATH="$tree/usr" -DWANTED=2; then complain "find_package takes this for version 2"; fi
rm -rf $work/finds/build
finds -DCMAKE_PREFIX_PATH="$tree/usr" -DWANTED=1 -DBIVISTA_ANDROID_UTILS=NOTFOUND -DCMAKE_LIBRARY_ARCHITECTURE=none \
    -DCMAKE_SYSTEM_LIBRARY_PATH= -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF && complain "find_package needs no libutils"
grep -q "install android-libutils-dev" $work/finds.log || complain "find_package does not say what to install"

say "below another project"
started=$SECONDS
mkdir $work/outer
cat >$work/outer/CMakeLists.txt <<TEXT
cmake_minimum_required(VERSION 3.25)
project(outer LANGUAGES CXX)
add_subdirectory($PWD bivista EXCLUDE_FROM_ALL)
add_subdirectory($PWD/examples/cpp-client cpp-client)
add_subdirectory($PWD/examples/neighbour neighbour)
TEXT
{ cmake -S $work/outer -B $work/outer/build -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
    -DBIVISTA_COMPILER_CACHE=ON && cmake --build $work/outer/build; } >$work/outer.log 2>&1 ||
    { tail -n 20 $work/outer.log; complain "not built"; }
built=$work/outer/build
scripts/run-examples.sh $built/cpp-client/bivista-example-client $built/neighbour/bivista-example-neighbour \
    examples/cpp-client/panel.png || complain "the examples do not run"
say "examples by add_subdirectory, built and run: $((SECONDS - started)) s"

exit $outcome
