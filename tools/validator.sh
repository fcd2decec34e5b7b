#!/usr/bin/env bash
# Starts (or stops) a local HTML validator service on 127.0.0.1 for the tests and benchmarks:
# Debian's w3c-markup-validator CGI in a private apache2 instance, with an HTML5 checker (the
# vnu-jar npm package on Java) as its external checker. Idempotent: a service that already
# answers is left running.
#
# Usage: tools/validator.sh start|stop|status
# Environment (all optional):
#   ORRELWICK_VALIDATOR_PORT   apache2 port (8398)
#   ORRELWICK_VNU_PORT         HTML5 checker port (8399)
#   ORRELWICK_VALIDATOR_STATE  folder for the generated configuration, pids and logs
#                              (/tmp/orrelwick-validator)
#   ORRELWICK_VNU_DIR          npm prefix holding vnu-jar (~/.cache/orrelwick-vnu); installed
#                              there when missing
# The validator answers at http://127.0.0.1:$ORRELWICK_VALIDATOR_PORT/w3c-validator.
set -euo pipefail

port=${ORRELWICK_VALIDATOR_PORT:-8398}
vnu_port=${ORRELWICK_VNU_PORT:-8399}
state=${ORRELWICK_VALIDATOR_STATE:-/tmp/orrelwick-validator}
vnu_dir=${ORRELWICK_VNU_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/orrelwick-vnu}
vnu_jar=$vnu_dir/node_modules/vnu-jar/build/dist/vnu.jar
check_cgi=/usr/lib/cgi-bin/w3c-markup-validator/check
apache=/usr/sbin/apache2
modules=/usr/lib/apache2/modules

fail() {
  echo "validator.sh: $*" >&2
  exit 1
}

answers() { # url
  curl -s -o /dev/null --max-time 5 "$1"
}

validator_answers() {
  answers "http://127.0.0.1:$port/w3c-validator/check"
}

vnu_answers() {
  answers "http://127.0.0.1:$vnu_port/"
}

wait_for() { # what seconds test
  local what=$1 seconds=$2 test=$3 i
  for ((i = 0; i < seconds * 5; i++)); do
    if $test; then
      return 0
    fi
    sleep 0.2
  done
  fail "$what does not answer after ${seconds}s (see $state/*.log)"
}

# The validator's own configuration, with private addresses allowed (the pages are on
# 127.0.0.1) and the HTML5 checker as its external checker. Its includes are relative to the
# original's folder.
write_validator_conf() {
  sed -e 's/^\(\s*Allow Private IPs\s*=\s*\).*/\1yes/' \
    -e 's#^\(\s*Include\s\+\)\([^/].*\)#\1/etc/w3c/\2#' \
    -e "s#^\(\s*<External>\s*\)\$#\1\n  HTML5 = http://127.0.0.1:$vnu_port/#" \
    /etc/w3c/validator.conf >"$state/validator.conf.new"
  grep -q "^\s*Allow Private IPs = yes" "$state/validator.conf.new" ||
    fail "cannot allow private addresses in the validator's configuration"
  grep -q "HTML5 = http://127.0.0.1:$vnu_port/" "$state/validator.conf.new" ||
    fail "cannot set the HTML5 checker in the validator's configuration"
  mv "$state/validator.conf.new" "$state/validator.conf"
}

write_httpd_conf() {
  local user=""
  if [ "$(id -u)" -eq 0 ]; then
    user="User www-data
Group www-data"
  fi
  cat >"$state/httpd.conf" <<EOF
ServerRoot /etc/apache2
ServerName 127.0.0.1
Listen 127.0.0.1:$port
PidFile $state/apache2.pid
Mutex file:$state default
ErrorLog $state/apache2-error.log
LogLevel warn
$user
LoadModule mpm_prefork_module $modules/mod_mpm_prefork.so
LoadModule authz_core_module $modules/mod_authz_core.so
LoadModule alias_module $modules/mod_alias.so
LoadModule mime_module $modules/mod_mime.so
LoadModule rewrite_module $modules/mod_rewrite.so
LoadModule env_module $modules/mod_env.so
LoadModule include_module $modules/mod_include.so
LoadModule cgi_module $modules/mod_cgi.so
LoadModule dir_module $modules/mod_dir.so
LoadModule negotiation_module $modules/mod_negotiation.so
StartServers 4
MinSpareServers 2
MaxSpareServers 8
MaxRequestWorkers 32
TypesConfig /etc/mime.types
SetEnv W3C_VALIDATOR_CFG $state/validator.conf
Include /etc/w3c/httpd.conf
EOF
}

ensure_vnu_jar() {
  [ -f "$vnu_jar" ] && return 0
  command -v npm >/dev/null || fail "npm is missing: cannot install vnu-jar (run tools/setup.sh)"
  mkdir -p "$vnu_dir"
  # Only the jar is needed; Java comes from Debian, so the package's download script is skipped.
  npm install --no-audit --no-fund --ignore-scripts --prefix "$vnu_dir" vnu-jar >"$state/npm.log" 2>&1 ||
    fail "npm install vnu-jar failed (see $state/npm.log)"
  [ -f "$vnu_jar" ] || fail "vnu-jar installed no $vnu_jar"
}

start_vnu() {
  vnu_answers && return 0
  command -v java >/dev/null || fail "java is missing (run tools/setup.sh)"
  ensure_vnu_jar
  # Detached from the caller's session so that the service outlives one test run.
  setsid java -Xss16m -Dnu.validator.servlet.allow-forbidden-hosts=true \
    -Dnu.validator.servlet.bind-address=127.0.0.1 \
    -cp "$vnu_jar" nu.validator.servlet.Main "$vnu_port" \
    >"$state/vnu.log" 2>&1 </dev/null 9>&- &
  echo $! >"$state/vnu.pid"
  wait_for "the HTML5 checker" 120 vnu_answers
}

start_apache() {
  [ -x "$apache" ] || fail "apache2 is missing (run tools/setup.sh)"
  [ -f "$check_cgi" ] || fail "w3c-markup-validator is missing (run tools/setup.sh)"
  write_validator_conf
  write_httpd_conf
  validator_answers && return 0
  # Debian's apache2 reads its run-time variables from envvars; this instance sets its own.
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C "$apache" -f "$state/httpd.conf" -k start 9>&- ||
    fail "apache2 does not start (see $state/apache2-error.log)"
  wait_for "the validator" 30 validator_answers
}

stop_all() {
  if [ -f "$state/apache2.pid" ]; then
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin "$apache" -f "$state/httpd.conf" -k stop || true
    rm -f "$state/apache2.pid"
  fi
  if [ -f "$state/vnu.pid" ]; then
    kill "$(cat "$state/vnu.pid")" 2>/dev/null || true
    rm -f "$state/vnu.pid"
  fi
}

mkdir -p "$state"
chmod 755 "$state"
# Test binaries may start the service at the same time. The services started here must not
# inherit the lock (9>&-), or they would hold it for as long as they run.
exec 9>"$state/lock"
flock 9

case "${1:-}" in
start)
  start_vnu
  start_apache
  echo "validator: http://127.0.0.1:$port/w3c-validator (HTML5 checker on port $vnu_port)"
  ;;
stop) stop_all ;;
status)
  validator_answers && vnu_answers || exit 1
  ;;
*) fail "usage: tools/validator.sh start|stop|status" ;;
esac
