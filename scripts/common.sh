# shellcheck shell=bash
# Sourced by the scripts of this folder and by .ci/run: the tools they need and how they build.
# The working folder is the project's afterwards.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

have() { command -v "$1" >/dev/null 2>&1; }

# need PACKAGE TEST...: notes the Debian package when TEST fails.
missing=()
need() {
  local package=$1
  shift
  "$@" || missing+=("$package")
}

# Installs what was noted: as root or with a sudo that asks nothing. Otherwise names it and stops.
install_missing() {
  ((${#missing[@]})) || return 0
  local sudo=()
  if ! have apt-get || { ((EUID != 0)) && ! { have sudo && sudo -n true 2>/dev/null; }; }; then
    echo "Missing here (names of Debian packages): ${missing[*]}" >&2
    echo "Install them, for instance with: apt-get install ${missing[*]}" >&2
    exit 1
  fi
  ((EUID == 0)) || sudo=(sudo -n)
  echo "Installing: ${missing[*]}"
  local apt=("${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300)
  # A source of packages that does not answer is no reason to stop: the install tells what is lacking.
  "${apt[@]}" update || true
  "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null
  missing=()
}

# What building, the tests and the demo take.
need_build_tools() {
  need g++ have c++
  need cmake have cmake
  need ninja-build have ninja
  need zlib1g-dev test -e /usr/include/zlib.h
  need libgtest-dev test -e /usr/include/gtest/gtest.h
  need libgmock-dev test -e /usr/include/gmock/gmock.h
  need libbenchmark-dev test -e /usr/include/benchmark/benchmark.h
  need pkg-config have pkg-config
  need python3 have python3
  need gettext have msgfmt
  need python3-polib /usr/bin/python3 -c 'import polib'
  need gzip have gzip
  need pigz have pigz
  need diffutils have diff
  need findutils have find
  need locales test -e /usr/share/i18n/locales/de_DE
  need tzdata test -e /usr/share/zoneinfo/Europe/Berlin
  install_missing
}

# A compiler cache is used where there is one.
if have ccache; then
  export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER-ccache}
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
fi

# build PRESET [cmake options...]: configures and builds everything of the preset.
build() {
  local preset=$1
  shift
  cmake --preset "$preset" "$@"
  cmake --build --preset "$preset"
}

# step NAME COMMAND...: runs it with its output in a log below $logs, and prints how it went. Steps that fail are
# noted in `failed`, and the end of their log is shown. Status 77 is that of a step that has no ground to stand on here;
# the last line of its log tells why.
failed=()
step() {
  local name=$1 start=$SECONDS result=ok
  shift
  mkdir -p "$logs"
  local log=$logs/${name// /-}.log
  # Not in a condition: there set -e would not stop a function at its first failure.
  set +e
  (set -e; "$@") >"$log" 2>&1 </dev/null
  local status=$?
  set -e
  if ((status == 77)); then
    result=skipped
    name+=" ($(tail -n 1 "$log"))"
  elif ((status)); then
    result=FAILED
    failed+=("$name")
    tail -n 150 "$log"
  fi
  printf '%-7s %-48s %5d s\n' "$result" "$name" $((SECONDS - start))
}
