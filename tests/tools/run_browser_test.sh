#!/usr/bin/env bash
# Runs report_browser_test.mjs with Debian's Chromium and ChromeDriver, which it
# installs (with Node.js) when they are missing. Exits 77, which the test
# registration reads as skipped, only when they cannot be installed here.
set -uo pipefail
need=()
command -v node >/dev/null || need+=(nodejs)
[[ -x /usr/bin/chromium ]] || need+=(chromium)
[[ -x /usr/bin/chromedriver ]] || need+=(chromium-driver)
if ((${#need[@]})); then
  sudo=()
  if [[ $(id -u) -ne 0 ]]; then
    if ! sudo -n true 2>/dev/null; then
      echo "SKIPPED: ${need[*]} missing, and installing needs root or password-less sudo"
      exit 77
    fi
    sudo=(sudo -n)
  fi
  echo "installing ${need[*]} from Debian"
  export DEBIAN_FRONTEND=noninteractive
  lock=(-o DPkg::Lock::Timeout=600)
  if ! "${sudo[@]}" apt-get update -qq "${lock[@]}" ||
     ! "${sudo[@]}" apt-get install -y -qq --no-install-recommends --no-remove "${lock[@]}" \
         "${need[@]}" >/dev/null; then
    echo "SKIPPED: could not install ${need[*]} with apt-get"
    exit 77
  fi
fi
exec node "$(dirname "$0")/report_browser_test.mjs" "$@"
