# Sourced by shell tests and examples. `serve_folder DIR` starts Python's HTTP
# server for DIR on a loopback port the kernel picks (no race for a port
# chosen beforehand), sets $server (its pid) and $port, and returns once the
# server listens. The caller kills $server.
serve_folder() {
  _serve_log=$(mktemp)
  /usr/bin/python3 -u -m http.server --bind 127.0.0.1 --directory "$1" 0 >"$_serve_log" 2>&1 &
  server=$!
  port=
  _serve_tries=0
  while :; do
    port=$(sed -n 's/.* port \([0-9]*\).*/\1/p' "$_serve_log")
    [ -n "$port" ] && break
    _serve_tries=$((_serve_tries + 1))
    if [ "$_serve_tries" -ge 100 ]; then
      echo "the local server did not start" >&2
      cat "$_serve_log" >&2
      return 1
    fi
    sleep 0.1
  done
  rm -f "$_serve_log"
}
