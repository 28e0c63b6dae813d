#!/bin/sh
# Builds and runs the daemons of this folder as other projects would: see the end for the possible arguments. ctest sets
# the environment.
set -eu

for name in CMAKE GENERATOR CC CXX READELF SOURCE BUILD WORK CERT SHARED EXAMPLES VERSION; do
  eval "[ -n \"\${$name-}\" ]" || {
    echo "check.sh: $name is not set; run it through ctest: ctest --test-dir build/default -L consumer" >&2
    exit 2
  }
done
[ $# -eq 1 ] || {
  echo "check.sh: must have one argument" >&2
  exit 2
}

here=$SOURCE/tests/built/consumer
prefix=$WORK/prefix
certificate_option=
[ "$CERT" = 0 ] || certificate_option=-DCONSUMER_CERT

fail() {
  echo "check.sh: $*" >&2
  exit 1
}

# Runs a daemon and shows its last line. Uses no files, as other checks run at the same time.
run() {
  # shellcheck disable=SC2086  # words
  printed=$(LD_LIBRARY_PATH=${SHARED_OBJECTS-${LD_LIBRARY_PATH-}} ${EMULATOR-} "$@") || fail "$1 exits with $?: $printed"
  printf '%s\n' "$printed" | tail -n 1
  case $printed in
    *"userlib-$VERSION"*) ;;
    *) fail "$1 runs with another library than $VERSION" ;;
  esac
}

# The files in a directory, with relative paths.
files_in() {
  (cd "$1" && find . ! -type d | sort)
}

expect_file() {
  [ -e "$1" ] || fail "$1 is not installed"
}

# Whether the program needs this shared object.
needs() {
  "$READELF" --wide --dynamic "$1" | grep -q "NEEDED.*\[$2"
}

# Runs pkg-config for the library in this prefix.
ask_pkg_config() {
  directory=$(dirname "$(find "$1" -name userlib.pc)")
  shift
  PKG_CONFIG_PATH=$directory pkg-config "$@" userlib
}

configure() {
  build=$1
  shift
  "$CMAKE" -G "$GENERATOR" -B "$build" -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
    ${TOOLCHAIN:+"-DCMAKE_TOOLCHAIN_FILE=$TOOLCHAIN"} -DCMAKE_C_COMPILER_LAUNCHER="${LAUNCHER-}" \
    -DCMAKE_CXX_COMPILER_LAUNCHER="${LAUNCHER-}" "$@" >"$build.log" 2>&1
}

build_and_run_daemons() {
  "$CMAKE" --build "$1" >"$1.log" 2>&1 || fail "does not build: $(cat "$1.log")"
  for daemon in "$1"/*_daemon_*; do
    run "$daemon"
    case $daemon in
      */c_daemon_*) ! needs "$daemon" 'lib\(stdc++\|gcc_s\)' || fail "$daemon needs the C++ run time" ;;
    esac
    case $daemon in
      *_static) ! needs "$daemon" libuserlib || fail "$daemon does not have the static library" ;;
      *) [ "$SHARED" = 0 ] || needs "$daemon" 'libuserlib.so.1\]' || fail "$daemon does not need the shared object" ;;
    esac
  done
}

# Compiles the daemons with the flags from pkg-config, and runs them.
with_pkg_config() {
  root=$1 name=$2 libs_option=$3 link_option=$4
  flags=$(ask_pkg_config "$root" --cflags)
  # shellcheck disable=SC2086  # words
  libs=$(ask_pkg_config "$root" $libs_option --libs)
  echo "cc $link_option $flags daemon.c $libs"
  # shellcheck disable=SC2086  # words
  "$CC" -std=c99 -Wall -Wextra -Werror ${LINK_FLAGS-} $link_option $certificate_option $flags \
    "$here/c_daemon.c" -o "$WORK/c_daemon_$name" $libs
  # shellcheck disable=SC2086  # words
  "$CXX" -std=c++20 -Wall -Wextra -Werror ${LINK_FLAGS-} $link_option $flags "$here/cpp_daemon.cpp" \
    -o "$WORK/cpp_daemon_$name" $libs
}

case $1 in
  install)
    rm -rf "$WORK"
    mkdir -p "$WORK"
    # shellcheck disable=SC2153  # from the environment
    "$CMAKE" --install "$BUILD" --prefix "$prefix" >"$WORK/install.log" || fail "does not install"
    library_dir=$(dirname "$(find "$prefix" -name libuserlib.a)")
    for file in userlib.h nuv_assert.h nuv_select.h; do
      expect_file "$prefix/include/$file"
    done
    expect_file "$library_dir/cmake/userlib/userlibConfig.cmake"
    expect_file "$library_dir/cmake/userlib/userlibConfigVersion.cmake"
    expect_file "$library_dir/pkgconfig/userlib.pc"
    expect_file "$prefix/share/doc/userlib/README.md"
    if [ "$SHARED" = 1 ]; then
      expect_file "$library_dir/libuserlib.so.$VERSION"
      expect_file "$library_dir/libuserlib.so.1"
      expect_file "$library_dir/libuserlib.so"
    fi
    if [ "$EXAMPLES" = 1 ]; then
      run "$prefix/sbin/phoned" --version
      run "$prefix/bin/phonectl" --version
    fi
    ! grep -rh "$SOURCE" "$prefix/include" "$library_dir/cmake" "$library_dir/pkgconfig" | grep -v "$prefix" ||
      fail "what is installed names the source or build tree"
    ;;
  components)
    # The components share no file, and together are the whole installation.
    mkdir "$WORK/components"
    for component in Runtime Development Documentation Tools Examples; do
      mkdir "$WORK/components/$component"
      "$CMAKE" --install "$BUILD" --prefix "$WORK/components/$component" --component "$component" >/dev/null \
        2>"$WORK/components.$component"
      files_in "$WORK/components/$component"
    done >"$WORK/unsorted"
    sort "$WORK/unsorted" >"$WORK/files_of_components"
    files_in "$prefix" | diff - "$WORK/files_of_components" || fail "the components are not the whole installation"
    [ "$SHARED" = 0 ] || [ "$(files_in "$WORK/components/Runtime" | sed 's,.*/,,' | xargs)" = \
      "libuserlib.so.1 libuserlib.so.$VERSION" ] || fail "Runtime has more than the shared object"
    ! files_in "$WORK/components/Development" | grep 'libuserlib\.so\.' || fail "Development has the shared object"
    # Development alone would make daemons that are static, and says so.
    [ "$SHARED" = 0 ] || grep -q 'There is no shared object' "$WORK/components.Development" ||
      fail "nobody tells that the shared object is missing"
    mkdir "$WORK/components/both"
    for component in Runtime Development; do
      "$CMAKE" --install "$BUILD" --prefix "$WORK/components/both" --component "$component" >/dev/null \
        2>"$WORK/components.both"
    done
    [ ! -s "$WORK/components.both" ] || fail "says something about both: $(cat "$WORK/components.both")"
    ;;
  destdir)
    DESTDIR=$WORK/stage "$CMAKE" --install "$BUILD" --prefix /opt/somewhere >/dev/null
    files_in "$prefix" >"$WORK/files"
    files_in "$WORK/stage/opt/somewhere" | diff "$WORK/files" - || fail "not everything is staged"
    [ "$(ls "$WORK/stage")" = opt ] || fail "files are staged outside the prefix"
    [ "$(ask_pkg_config "$WORK/stage" --variable=prefix)" = /opt/somewhere ] ||
      fail "the file for pkg-config names the stage"
    ;;
  pkg_config_shared)
    with_pkg_config "$prefix" shared "" ""
    SHARED_OBJECTS=$(ask_pkg_config "$prefix" --variable=libdir)${SHARED_OBJECTS:+:$SHARED_OBJECTS}
    for daemon in c_daemon_shared cpp_daemon_shared; do
      run "$WORK/$daemon"
      needs "$WORK/$daemon" 'libuserlib.so.1\]' || fail "$daemon does not need the shared object"
      ! needs "$WORK/$daemon" libcrypto || fail "$daemon needs OpenSSL, which only the shared object should"
    done
    ;;
  pkg_config_static)
    # Links everything statically, which fails if the file for pkg-config forgets a library. (The linker warns of
    # functions in OpenSSL that need the shared C library.)
    with_pkg_config "$prefix" static --static -static 2>"$WORK/warnings" || fail "$(cat "$WORK/warnings")"
    run "$WORK/c_daemon_static"
    run "$WORK/cpp_daemon_static"
    ;;
  find_package)
    configure "$WORK/find_package" -S "$here" -DCMAKE_PREFIX_PATH="$prefix" -DCONSUMER_CERT="$CERT" ||
      fail "$(cat "$WORK/find_package.log")"
    build_and_run_daemons "$WORK/find_package"
    ;;
  find_package_c)
    # A project without C++ can use both libraries as well.
    configure "$WORK/find_package_c" -S "$here" -DCMAKE_PREFIX_PATH="$prefix" -DCONSUMER_CERT="$CERT" \
      -DCONSUMER_LANGUAGES=C || fail "$(cat "$WORK/find_package_c.log")"
    build_and_run_daemons "$WORK/find_package_c"
    ;;
  version_rule)
    major=${VERSION%%.*}
    rest=${VERSION#*.}
    minor=${rest%%.*}
    patch=${rest#*.}
    while read -r asked verdict; do
      if configure "$WORK/version" -S "$here" -DCMAKE_PREFIX_PATH="$prefix" -DCONSUMER_VERSION="$asked" \
        -DCONSUMER_LANGUAGES=C -DCONSUMER_LIBRARIES=userlib; then
        answer=accepted
      elif grep -q 'compatible with requested version' "$WORK/version.log"; then
        answer=refused
      else
        answer="an error: $(cat "$WORK/version.log")"
      fi
      echo "version $asked is $answer"
      [ "$answer" = "$verdict" ] || fail "version $asked must be $verdict"
    done <<END
$major.0 accepted
$major.$minor accepted
$VERSION accepted
$major.$minor.$((patch + 1)) refused
$major.$((minor + 1)) refused
$((major + 1)).0 refused
$((major - 1)).9 refused
END
    [ "$(ask_pkg_config "$prefix" --modversion)" = "$VERSION" ] || fail "pkg-config names another version"
    ;;
  add_subdirectory)
    configure "$WORK/add_subdirectory" -S "$here" -DCONSUMER_SOURCE_TREE="$SOURCE" -DUSERLIB_CERT="$CERT" \
      -DCONSUMER_CERT="$CERT" || fail "$(cat "$WORK/add_subdirectory.log")"
    ! grep -q '^BUILD_SHARED_LIBS' "$WORK/add_subdirectory/CMakeCache.txt" ||
      fail "the library changes how the project's own libraries are built"
    build_and_run_daemons "$WORK/add_subdirectory"
    ;;
  bare)
    # The static library alone, without OpenSSL, in unusual directories.
    configure "$WORK/bare" -S "$SOURCE" -DBUILD_SHARED_LIBS=OFF -DUSERLIB_CERT=OFF -DUSERLIB_BUILD_TESTS=OFF \
      -DUSERLIB_BUILD_EXAMPLES=OFF -DUSERLIB_BUILD_TOOLS=OFF -DCMAKE_INSTALL_LIBDIR=lib/odd -DCMAKE_INSTALL_INCLUDEDIR=headers/odd ||
      fail "$(cat "$WORK/bare.log")"
    "$CMAKE" --build "$WORK/bare" >"$WORK/bare.log" 2>&1 || fail "does not build: $(cat "$WORK/bare.log")"
    "$CMAKE" --install "$WORK/bare" --prefix "$WORK/bare_prefix" >/dev/null
    expect_file "$WORK/bare_prefix/lib/odd/libuserlib.a"
    expect_file "$WORK/bare_prefix/headers/odd/userlib.h"
    ! find "$WORK/bare_prefix" -name '*.so*' | grep . || fail "there is a shared object"
    [ -z "$(ask_pkg_config "$WORK/bare_prefix" --print-requires-private)" ] || fail "it requires something else"
    certificate_option=
    with_pkg_config "$WORK/bare_prefix" bare "" ""
    run "$WORK/c_daemon_bare"
    run "$WORK/cpp_daemon_bare"
    SHARED=0
    configure "$WORK/bare_package" -S "$here" -Duserlib_DIR="$WORK/bare_prefix/lib/odd/cmake/userlib" -DCONSUMER_CERT=OFF \
      -DCMAKE_DISABLE_FIND_PACKAGE_OpenSSL=ON || fail "$(cat "$WORK/bare_package.log")"
    build_and_run_daemons "$WORK/bare_package"
    ;;
  *)
    echo "check.sh: unknown argument '$1'" >&2
    exit 2
    ;;
esac
