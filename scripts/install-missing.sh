# Sourced by the other scripts. Installs Debian packages, but only those that are missing, and shows
# how far that and a build are.

say() { printf '\n==> %s\n' "$*"; }

# Shows one of the lines "PERCENT WHAT ..." for each ten per cent, and on stderr what else there is.
show_progress() {
  local line step shown=''
  while IFS= read -r line; do
    if [[ $line =~ ^\ *([0-9]+)[.0-9]*%?\ (built|downloaded|installed) ]]; then
      step="${BASH_REMATCH[2]} $((BASH_REMATCH[1] / 10))"
      [ "$step" = "$shown" ] || printf '  %3d %% %s\n' "${BASH_REMATCH[@]:1}"
      shown=$step
    elif [ "$line" != "ninja: no work to do." ]; then
      echo "$line" >&2
    fi
  done
}

# build_targets BUILD_DIRECTORY TARGET...: shows how far it is, and what the compilers say.
build_targets() { NINJA_STATUS='%p built ' cmake --build "$1" --target "${@:2}" | show_progress; }

# A JDK of any make will do, as long as it brings jni.h.
have_jdk() {
  local javac
  javac=$(command -v "${JAVA_HOME:+$JAVA_HOME/bin/}javac") || return 1
  [ -f "$(dirname "$(dirname "$(realpath "$javac")")")/include/jni.h" ]
}

# A program that came in another way than by its package counts as well.
is_installed() {
  case $1 in
    default-jdk-headless) have_jdk ;;
    python3-venv) python3 -c 'import ensurepip, venv' ;;
    gnuplot-nox) command -v gnuplot ;;
    libxml2-utils) command -v xmllint ;;
    maven) command -v mvn ;;
    ninja-build) command -v ninja ;;
    clang | cmake | g++ | git | openssl | pkg-config | python3 | unzip) command -v "$1" ;;
    *) [ "$(dpkg-query -W -f '${Status}' "$1")" = "install ok installed" ] ;;
  esac >/dev/null 2>&1
}

# install_missing PACKAGE...
install_missing() {
  if [ -n "${JAVA_HOME:-}" ] && ! have_jdk; then
    echo "JAVA_HOME is $JAVA_HOME, but there is no JDK in it; correct or unset it" >&2
    return 1
  fi
  local package kind percent missing=() as_root=()
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  say "Installing with apt-get: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "These packages are missing and need root or sudo to install: ${missing[*]}" >&2
      return 1
    }
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -qq
  local install=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C
    apt-get install --no-install-recommends)
  "${install[@]}" --assume-no "${missing[@]}" 2>&1 | grep -E '^(Need to get|After this)' || true
  # Not all maintainers' scripts keep quiet; what goes wrong comes on stderr.
  "${install[@]}" --assume-yes -qq -o APT::Status-Fd=3 "${missing[@]}" 3>&1 >/dev/null |
    while IFS=: read -r kind _ percent _; do
      case $kind in
        dlstatus) echo "$percent downloaded" ;;
        pmstatus) echo "$percent installed" ;;
      esac
    done | show_progress
}
