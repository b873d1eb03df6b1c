# shellcheck shell=bash
# Sourced by the other scripts.

# as_root COMMAND...: as it is for root, otherwise through sudo.
as_root() {
  if ((EUID == 0)); then "$@"; else sudo "$@"; fi
}

# need_packages PACKAGE...: installs the Debian packages that are missing, as root or through sudo.
# Where that is not possible it names them and ends the script.
need_packages() {
  local package
  local missing=()
  for package in "$@"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0

  echo "Installing ${missing[*]}"
  if ! { as_root apt-get update -qq && as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -qq --yes --no-install-recommends "${missing[@]}" >/dev/null; }; then
    echo "These Debian packages are missing and could not be installed: ${missing[*]}" >&2
    echo "Install them as root: apt-get install ${missing[*]}" >&2
    exit 1
  fi
}
