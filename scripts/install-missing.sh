# Sourced by the other scripts. Installs Debian packages, but only those that are missing.

say() { printf '\n==> %s\n' "$*"; }

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
    clang | cmake | g++ | pkg-config | python3) command -v "$1" ;;
    *) [ "$(dpkg-query -W -f '${Status}' "$1")" = "install ok installed" ] ;;
  esac >/dev/null 2>&1
}

# install_missing PACKAGE...
install_missing() {
  if [ -n "${JAVA_HOME:-}" ] && ! have_jdk; then
    echo "JAVA_HOME is $JAVA_HOME, but there is no JDK in it; correct or unset it" >&2
    return 1
  fi
  local package missing=() as_root=()
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
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
