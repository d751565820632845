#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The installed library as its users meet it. One step per CTest:
#   ship.sh install    cmake --install the build into a scratch prefix
#   ship.sh tree       the prefix holds the files a library install must have
#   ship.sh pkgconfig  the README's C program, built with pkg-config, shared and static
#   ship.sh cmake      the README's CMake project, linking both imported targets
#   ship.sh command    the installed bin/fiberdecode, found its library by RPATH
#   ship.sh packages   the Debian packages: contents, dependencies, lintian
# Every consumer decodes a real module (a Finisar 10GBASE-SR SFP+ with
# diagnostics) and must print what the README shows for it.
# Environment: BUILD (build directory), SOURCE (source directory),
# LIBDIR (CMAKE_INSTALL_LIBDIR), VERSION, WORK (scratch directory).
set -eu
step=$1
: "${BUILD:?}" "${SOURCE:?}" "${LIBDIR:?}" "${VERSION:?}" "${WORK:?}"
prefix=$WORK/prefix
readme=$SOURCE/README.md
module=$SOURCE/tests/data/sfp-10g-sr-finisar-ftlx8571/dump.bin
soversion=${VERSION%%.*}

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# The fenced block that follows the line "<!-- NAME -->" in the README.
snippet() {
  awk -v marker="<!-- $1 -->" '
    found == 0 && $0 == marker { found = 1; next }
    found == 1 && /^```/ { found = 2; next }
    found == 2 && /^```/ { exit }
    found == 2 { print }
    END { if (found != 2) exit 1 }' "$readme" || fail "README.md has no block after <!-- $1 -->"
}

# The README's output block for the example program, without its command line.
expected_output() {
  snippet "output: app" | sed 1d
}

check_app() {  # check_app PROGRAM
  [ -x "$1" ] || fail "$1 was not built"
  "$1" "$module" >"$1.out" || fail "$1 exited with $?"
  expected_output >"$1.expected"
  diff -u "$1.expected" "$1.out" || fail "$1: output differs from the README"
  # Independent of the README: the module's identification as decoded.
  grep -qx '10GBASE-SR-SFP+, 10000 Mb/s, 850 nm' "$1.out" || fail "$1: wrong identification"
  echo "$1: $(head -n 1 "$1.out")"
}

case $step in
install)
  rm -rf "$prefix"
  cmake --install "$BUILD" --prefix "$prefix" >"$WORK/install.log" || { cat "$WORK/install.log"; fail "cmake --install"; }
  echo "installed into $prefix"
  ;;

tree)
  cd "$prefix"
  for f in "$LIBDIR/libfiberdecode.so.$VERSION" "$LIBDIR/libfiberdecode.a" include/fiber_decode.h \
      "$LIBDIR/pkgconfig/fiberdecode.pc" "$LIBDIR/cmake/fiberdecode/fiberdecodeConfig.cmake" \
      "$LIBDIR/cmake/fiberdecode/fiberdecodeConfigVersion.cmake" bin/fiberdecode \
      share/man/man1/fiberdecode.1.gz share/man/man3/libfiberdecode.3.gz share/doc/fiberdecode/LICENSE; do
    [ -f "$f" ] || fail "missing $f"
  done
  [ "$(readlink "$LIBDIR/libfiberdecode.so.$soversion")" = "libfiberdecode.so.$VERSION" ] ||
    fail "libfiberdecode.so.$soversion does not point to libfiberdecode.so.$VERSION"
  [ "$(readlink "$LIBDIR/libfiberdecode.so")" = "libfiberdecode.so.$soversion" ] ||
    fail "the development link libfiberdecode.so does not point to libfiberdecode.so.$soversion"
  soname=$(readelf -d "$LIBDIR/libfiberdecode.so.$VERSION" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
  [ "$soname" = "libfiberdecode.so.$soversion" ] || fail "SONAME is '$soname'"
  # The archive holds the shared library's objects, built without
  # exceptions: no unwind personality, no RTTI, no C++ runtime needed.
  members=$(ar t "$LIBDIR/libfiberdecode.a" | wc -l)
  [ "$members" -ge 7 ] || fail "libfiberdecode.a holds $members objects"
  if nm -u "$LIBDIR/libfiberdecode.a" | grep -E '__gxx_personality|__cxa_|_ZTI|_ZTV|_Znw|_Zdl'; then
    fail "libfiberdecode.a needs the C++ runtime"
  fi
  grep -qx "prefix=$prefix" "$LIBDIR/pkgconfig/fiberdecode.pc" || fail "fiberdecode.pc: prefix is not $prefix"
  cmp -s "$SOURCE/LICENSE" share/doc/fiberdecode/LICENSE || fail "installed LICENSE differs"
  for page in share/man/man1/fiberdecode.1.gz share/man/man3/libfiberdecode.3.gz; do
    gzip -t "$page" || fail "$page is not gzip"
    zcat "$page" | grep -q '^\.TH' || fail "$page is not a man page"
  done
  # fiberdecode(1) documents every option of fiberdecode --help.
  options=$(bin/fiberdecode --help | grep -oE -- '--[a-z][a-z-]+' | sort -u)
  [ -n "$options" ] || fail "fiberdecode --help lists no option"
  for option in $options; do
    zcat share/man/man1/fiberdecode.1.gz | grep -qF -- "\\fB$option\\fR" || fail "fiberdecode(1) does not document $option"
  done
  echo "install tree complete: $(find . -type f | wc -l) files"
  ;;

pkgconfig)
  dir=$WORK/pkgconfig
  rm -rf "$dir" && mkdir -p "$dir" && cd "$dir"
  snippet "file: app.c" >app.c
  snippet "build: pkg-config" >build.sh
  PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig sh -eux build.sh
  [ -z "$(readelf -d app-static 2>/dev/null | grep NEEDED)" ] || fail "app-static is not static"
  LD_LIBRARY_PATH=$prefix/$LIBDIR check_app ./app
  check_app ./app-static
  ;;

cmake)
  dir=$WORK/cmake
  rm -rf "$dir" && mkdir -p "$dir" && cd "$dir"
  snippet "file: app.c" >app.c
  snippet "file: CMakeLists.txt" >CMakeLists.txt
  cmake -S . -B build -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >configure.log || { cat configure.log; fail "configure"; }
  cmake --build build >build.log || { cat build.log; fail "build"; }
  grep -q "libfiberdecode.a" build/build.ninja || fail "app-static does not link libfiberdecode.a"
  check_app build/app
  check_app build/app-static
  # SameMajorVersion: this release satisfies 1.0, not 0.9 (another major
  # version, older) nor 2.
  mkdir -p major
  cat >major/CMakeLists.txt <<'EOF'
cmake_minimum_required(VERSION 3.16)
project(major LANGUAGES NONE)
find_package(fiberdecode 1.0 REQUIRED)
foreach(version 0.9 2)
  unset(fiberdecode_DIR CACHE)
  find_package(fiberdecode ${version} QUIET)
  if(fiberdecode_FOUND)
    message(FATAL_ERROR "fiberdecode ${fiberdecode_VERSION} taken for version ${version}")
  endif()
endforeach()
EOF
  cmake -S major -B major/build -DCMAKE_PREFIX_PATH="$prefix" >major.log 2>&1 || { cat major.log; fail "version check"; }
  ;;

command)
  command=$prefix/bin/fiberdecode
  runpath=$(readelf -d "$command" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
  [ "$runpath" = "\$ORIGIN/../$LIBDIR" ] || fail "RUNPATH of bin/fiberdecode is '$runpath', not \$ORIGIN/../$LIBDIR"
  env -u LD_LIBRARY_PATH "$command" --version | grep -qx "$VERSION" || fail "fiberdecode --version"
  env -u LD_LIBRARY_PATH "$command" "$module" >"$WORK/command.out" || fail "fiberdecode exited with $?"
  grep -qE '^  Serial number +AUJ0RCJ$' "$WORK/command.out" || fail "fiberdecode: wrong serial number"
  grep -qE '^  Module +10GBASE-SR-SFP\+$' "$WORK/command.out" || fail "fiberdecode: wrong module type"
  echo "bin/fiberdecode runs from the prefix (RUNPATH $runpath)"
  ;;

packages)
  dir=$WORK/debs
  rm -rf "$dir" && mkdir -p "$dir" && cd "$dir"
  cpack -G DEB --config "$BUILD/CPackConfig.cmake" -B "$dir" >cpack.log 2>&1 || { cat cpack.log; fail "cpack"; }
  arch=$(dpkg --print-architecture)
  deb() { echo "$dir/${1}_${VERSION}_$arch.deb"; }
  for p in "libfiberdecode$soversion" libfiberdecode-dev fiberdecode; do
    [ -f "$(deb "$p")" ] || fail "no package $p"
    dpkg-deb -c "$(deb "$p")" | awk '{ print $6 }' | sed 's|^\./|/|; s|/$||' >"$p.files"
  done
  has() {  # has PACKAGE PATH...
    p=$1; shift
    for f in "$@"; do grep -qx -- "$f" "$p.files" || fail "$p lacks $f"; done
  }
  lacks() {  # lacks PACKAGE PATTERN
    if grep -E -- "$2" "$1.files"; then fail "$1 holds files of another package"; fi
  }
  lib=/usr/$LIBDIR
  has "libfiberdecode$soversion" "$lib/libfiberdecode.so.$VERSION" "$lib/libfiberdecode.so.$soversion" \
    "/usr/share/doc/libfiberdecode$soversion/copyright" "/usr/share/doc/libfiberdecode$soversion/changelog.gz"
  lacks "libfiberdecode$soversion" 'libfiberdecode\.so$|\.a$|include|/bin/|man'
  has libfiberdecode-dev /usr/include/fiber_decode.h "$lib/libfiberdecode.so" "$lib/libfiberdecode.a" \
    "$lib/pkgconfig/fiberdecode.pc" "$lib/cmake/fiberdecode/fiberdecodeConfig.cmake" \
    "$lib/cmake/fiberdecode/fiberdecodeConfigVersion.cmake" "$lib/cmake/fiberdecode/fiberdecodeTargets.cmake" \
    /usr/share/man/man3/libfiberdecode.3.gz /usr/share/doc/libfiberdecode-dev/copyright
  lacks libfiberdecode-dev "\\.so\\.$soversion|/bin/|man1"
  has fiberdecode /usr/bin/fiberdecode /usr/share/man/man1/fiberdecode.1.gz /usr/share/doc/fiberdecode/copyright \
    /usr/share/doc/fiberdecode/changelog.gz
  lacks fiberdecode 'libfiberdecode|include'

  # Dependencies: the C library from dpkg-shlibdeps, the exact library
  # version between the packages, shlibs for programs built against it.
  depends() { dpkg-deb -f "$(deb "$1")" Depends; }
  depends "libfiberdecode$soversion" | grep -q 'libc6 (>=' || fail "libfiberdecode$soversion: Depends lacks libc6"
  depends fiberdecode | grep -q "libfiberdecode$soversion (= $VERSION)" || fail "fiberdecode: Depends lacks the library"
  depends libfiberdecode-dev | grep -q "libfiberdecode$soversion (= $VERSION)" || fail "libfiberdecode-dev: Depends lacks the library"
  dpkg-deb -e "$(deb "libfiberdecode$soversion")" control
  grep -qx "libfiberdecode $soversion libfiberdecode$soversion (>= $VERSION)" control/shlibs || fail "shlibs"
  grep -qx 'activate-noawait ldconfig' control/triggers || fail "no ldconfig trigger"

  # Installed to /usr: no RPATH, a pkg-config file for /usr.
  dpkg-deb -x "$(deb fiberdecode)" root
  dpkg-deb -x "$(deb libfiberdecode-dev)" root
  if readelf -d root/usr/bin/fiberdecode | grep -E 'RPATH|RUNPATH'; then fail "packaged fiberdecode has an RPATH"; fi
  grep -qx 'prefix=/usr' "root$lib/pkgconfig/fiberdecode.pc" || fail "packaged fiberdecode.pc: prefix is not /usr"
  zcat root/usr/share/doc/fiberdecode/changelog.gz | head -n 1 | grep -q "^fiberdecode ($VERSION) " ||
    fail "the changelog's last entry is not version $VERSION (cmake/debian/changelog)"

  # Every file of an install is in some package (an install rule without a
  # component would be in none).
  for p in "$dir"/*.deb; do dpkg-deb -c "$p"; done | awk '{ print $6 }' | sed 's|^\./usr/||; s|^\./||' | sort -u >all.files
  if [ -d "$prefix" ]; then
    (cd "$prefix" && find . -type f -o -type l) | sed 's|^\./||' | sort >installed.files
    missing=$(comm -23 installed.files all.files)
    [ -z "$missing" ] || fail "installed but in no package: $missing"
  fi

  lintian --fail-on error --suppress-tags-from-file /dev/null "$dir"/*.deb >lintian.log 2>&1 || {
    cat lintian.log
    fail "lintian reports errors"
  }
  cat lintian.log
  echo "packages: $(ls "$dir"/*.deb | xargs -n 1 basename | tr '\n' ' ')"
  ;;

*)
  echo "usage: ship.sh install|tree|pkgconfig|cmake|command|packages" >&2
  exit 2
  ;;
esac
