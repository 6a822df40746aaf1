#!/bin/sh
# `vantor trust` and `openssl verify -verify_hostname` (or -verify_ip) must
# agree on every certificate: trusted exactly when OpenSSL says OK. The
# certificates are made here with the openssl tool, under a private CA that
# is the only root either program sees.
set -eu
vantor="$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir roots-dir ca-db
: > ca-db/index.txt
echo 01 > ca-db/serial
export SSL_CERT_FILE="$work/ca.pem" SSL_CERT_DIR="$work/roots-dir"

cat > ca.cnf <<'CNF'
[ca]
default_ca = test_ca
[test_ca]
dir = .
database = ca-db/index.txt
serial = ca-db/serial
new_certs_dir = ca-db
default_md = sha256
policy = any
unique_subject = no
copy_extensions = none
[any]
commonName = supplied
[leaf]
basicConstraints = critical,CA:FALSE
extendedKeyUsage = serverAuth
subjectAltName = DNS:www.example.test,IP:127.0.0.1
CNF

quiet() { "$@" >/dev/null 2>&1; }
key() { quiet openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1"; }
ca() { # name
  key "$1.key"
  quiet openssl req -x509 -new -key "$1.key" -subj "/CN=$1" -days 30 -out "$1.pem" \
    -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign"
}
leaf() { # name issuer startdate enddate
  key "$1.key"
  quiet openssl req -new -key "$1.key" -subj "/CN=$1" -out "$1.csr"
  quiet openssl ca -batch -config ca.cnf -extensions leaf -cert "$2.pem" -keyfile "$2.key" \
    -startdate "$3" -enddate "$4" -in "$1.csr" -out "$1.pem" -notext
}
now=$(date -u +%Y%m%d%H%M%SZ)
soon=$(date -u -d '+30 days' +%Y%m%d%H%M%SZ)

ca ca
ca stranger
leaf good ca "$now" "$soon"
leaf expired ca 20200101000000Z 20200201000000Z
leaf future ca "$(date -u -d '+10 days' +%Y%m%d%H%M%SZ)" "$soon"
leaf unknown stranger "$now" "$soon"
key self.key
quiet openssl req -x509 -new -key self.key -subj "/CN=www.example.test" -days 30 -out self.pem \
  -addext "subjectAltName=DNS:www.example.test"
openssl x509 -in good.pem -outform DER -out flipped.der
python3 -c 'import sys; d=bytearray(open(sys.argv[1],"rb").read()); d[-1]^=1; open(sys.argv[1],"wb").write(d)' flipped.der
openssl x509 -inform DER -in flipped.der -out flipped.pem

failures=0
check() { # cert host expected-answer
  case "$2" in
    *[!0-9.]*) hostcheck="-verify_hostname" ;;
    *) hostcheck="-verify_ip" ;;
  esac
  if openssl verify "$hostcheck" "$2" "$1" >/dev/null 2>&1; then openssl=OK; else openssl=fail; fi
  answer=$("$vantor" trust "$1" --host "$2" 2>/dev/null | head -n 1) || true
  if [ "$answer" != "$3" ]; then
    echo "FAIL $1 for $2: vantor says '$answer', expected '$3'"; failures=$((failures + 1))
  fi
  if { [ "$openssl" = OK ] && [ "$answer" != trusted ]; } || { [ "$openssl" != OK ] && [ "$answer" = trusted ]; }; then
    echo "FAIL $1 for $2: vantor '$answer' but openssl verify '$openssl'"; failures=$((failures + 1))
  fi
}

check good.pem www.example.test trusted
check good.pem WWW.EXAMPLE.TEST trusted
check good.pem 127.0.0.1 trusted
check good.pem mail.example.test ask
check expired.pem www.example.test ask
check future.pem www.example.test ask
check self.pem www.example.test ask
check unknown.pem www.example.test ask
check flipped.pem www.example.test refused

# The reasons and a question, as printed.
"$vantor" trust expired.pem --host www.example.test | grep -qx 'reason: 2 (expired)' || { echo "FAIL expired reason"; failures=$((failures + 1)); }
"$vantor" trust future.pem --host www.example.test | grep -qx 'reason: 3 (not yet valid)' || { echo "FAIL future reason"; failures=$((failures + 1)); }
"$vantor" trust unknown.pem --host www.example.test | grep -q '^question: The certificate for this server was signed by an unknown certifying authority. .*“www.example.test”' || { echo "FAIL unknown question"; failures=$((failures + 1)); }
# Bad input gets an error, not a crash.
printf 'garbage' > garbage.pem
if "$vantor" trust garbage.pem --host x 2>/dev/null; then echo "FAIL garbage accepted"; failures=$((failures + 1)); fi
head -c 200 good.pem > truncated.pem
if "$vantor" trust truncated.pem --host x 2>/dev/null; then echo "FAIL truncated accepted"; failures=$((failures + 1)); fi

[ "$failures" -eq 0 ] && echo "vantor trust agrees with openssl verify"
exit "$failures"
