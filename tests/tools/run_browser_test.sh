#!/usr/bin/env bash
# Runs report_browser_test.mjs with Debian's Chromium and ChromeDriver, which it
# installs (with Node.js) through scripts/install-deps.sh when they are missing.
# Exits 77, which the test registration reads as skipped, only when they cannot
# be installed here.
set -uo pipefail
here=$(dirname "$0")
if ! command -v node >/dev/null || [[ ! -x /usr/bin/chromium || ! -x /usr/bin/chromedriver ]]; then
  if [[ $(id -u) -ne 0 ]] && ! sudo -n true 2>/dev/null; then
    echo "SKIPPED: Node.js, Chromium or ChromeDriver missing, and installing needs root or password-less sudo"
    exit 77
  fi
  if ! "$here/../../scripts/install-deps.sh" browser >/dev/null; then
    echo "SKIPPED: could not install Node.js, Chromium and ChromeDriver with apt-get"
    exit 77
  fi
fi
exec node "$here/report_browser_test.mjs" "$@"
