#!/usr/bin/env bash
# Starts or stops a private nginx on 127.0.0.1 that serves one folder, for crawl benchmarks.
# Usage: bench/crawl/nginx.sh start DOCROOT PORT | stop | status
# Its prefix (config, pid, error log, temp folders) is build/bench-nginx; the access log is off
# and keep-alive on, so the server costs as little as it can and never closes a crawler's
# connections early.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
prefix="$root/build/bench-nginx"
conf="$prefix/nginx.conf"
pidfile="$prefix/nginx.pid"

running() {
  [ -s "$pidfile" ] && kill -0 "$(cat "$pidfile")" 2>/dev/null
}

stop() {
  if running; then
    local pid
    pid="$(cat "$pidfile")"
    kill -QUIT "$pid"
    for _ in $(seq 50); do
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.1
    done
    kill -0 "$pid" 2>/dev/null && kill -TERM "$pid"
  fi
  rm -f "$pidfile"
}

start() {
  local docroot port
  docroot="$(cd "$1" && pwd)"
  port="$2"
  stop
  mkdir -p "$prefix/logs" "$prefix/tmp"
  cat >"$conf" <<EOF
worker_processes 2;
pid $pidfile;
error_log $prefix/logs/error.log warn;
events {
  worker_connections 1024;
}
http {
  access_log off;
  # Missing files are part of every benchmark site; logging each one would slow the server.
  log_not_found off;
  sendfile on;
  tcp_nopush on;
  tcp_nodelay on;
  keepalive_timeout 65;
  keepalive_requests 1000000;
  client_body_temp_path $prefix/tmp/body;
  proxy_temp_path $prefix/tmp/proxy;
  fastcgi_temp_path $prefix/tmp/fastcgi;
  uwsgi_temp_path $prefix/tmp/uwsgi;
  scgi_temp_path $prefix/tmp/scgi;
  types {
    text/html html;
    text/css css;
    application/javascript js;
    image/png png;
  }
  default_type application/octet-stream;
  server {
    listen 127.0.0.1:$port;
    server_name localhost;
    root $docroot;
    index index.html;
    # Lifts the peer checker that honours it off its default of about three requests a second
    # per host; the header costs every client the same few bytes.
    add_header LinkChecker unthrottled always;
  }
}
EOF
  nginx -p "$prefix" -c "$conf" -t -q
  nginx -p "$prefix" -c "$conf"
  for _ in $(seq 50); do
    if running && (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
      return 0
    fi
    sleep 0.1
  done
  echo "nginx.sh: nginx did not come up on 127.0.0.1:$port (see $prefix/logs/error.log)" >&2
  return 1
}

case "${1:-}" in
  start) [ $# -eq 3 ] || { echo "usage: $0 start DOCROOT PORT" >&2; exit 2; }; start "$2" "$3" ;;
  stop) stop ;;
  status) running && echo "running (pid $(cat "$pidfile"))" || { echo "stopped"; exit 1; } ;;
  *) echo "usage: $0 start DOCROOT PORT | stop | status" >&2; exit 2 ;;
esac
