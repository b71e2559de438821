#!/usr/bin/env bash
# limes watch against the world: killed again and again, slow writers, files renamed, a full disk, a
# broker that goes away. usage: watch_test.sh PROGRAM KILLS
set -eu
limes=$(realpath "$1")
kills=$2
work=$(mktemp -d)
watch= broker= listeners=
finish() {
  for process in $watch $broker $listeners; do kill -9 "$process" 2>/dev/null || true; done
  rm -rf "$work"
}
trap finish EXIT
cd "$work"
fail() { echo "failed: $1" >&2; tail -n 5 errors >&2 || true; exit 1; }
until_holds() { for _ in $(seq 1200); do ! eval "$1" || return 0; sleep 0.05; done; fail "$1"; }
begin() { "$limes" watch "$@" >>results 2>>errors & watch=$!; }
end() { kill "$1" "$watch"; wait "$watch" || true; watch=; }
part() { awk -v s="$1" 'BEGIN { print "x [s],noise [Pa]"; for (i = 0; i < 50; ++i) print i "," s + i % 3 }'; }
judged() { grep -c "\"part\":\"in/$1\"" results || true; }

mkdir in good away
for i in $(seq -w 12); do part "1.$i" >"good/$i.csv"; done
"$limes" learn a.limes good --factor 3 --base 1 2>/dev/null >/dev/null

# Each of many files is stored once and told, whenever the program is killed.
: >results
for round in $(seq "$kills"); do
  begin a.limes in --still 0
  for i in 1 2 3 4; do part "1.$i" >"x.tmp" && mv x.tmp "in/$round-$i.csv"; done
  sleep "0.0$((round * 7 % 10))"
  end -9
done
begin a.limes in --still 0
until_holds '[ "$(grep -o "\"part\":\"[^\"]*\"" results | sort -u | wc -l)" -eq $((4 * kills)) ]'
end -TERM
[ "$("$limes" report a.limes --all-runs --json 2>/dev/null | wc -l)" -eq $((4 * kills)) ] ||
  fail "each file is stored once"
[ -z "$(grep -v '"repeated":true' results | grep -o '"part":"[^"]*"' | sort | uniq -d)" ] ||
  fail "what is told again is marked"

# Half a file is waited for; one renamed into place is not; names that are no measurements are told.
rm in/*; : >results
begin a.limes in --still 0.4 --done away --beside
until_holds '[ -d in ] && kill -0 $watch'
(part 1.5 | head -n 20; sleep 1; part 1.5 | tail -n +21) >in/slow.csv &
sleep 0.7
[ "$(judged slow.csv)" -eq 0 ] || fail "half a file is not judged"
part 9 >bad.csv && mv bad.csv in/bad.csv
until_holds '[ "$(judged bad.csv)" -eq 1 ]'
until_holds '[ "$(judged slow.csv)" -eq 1 ]'
grep '"part":"in/slow.csv"' results | grep -q '"verdict":"OK"' || fail "the whole file is judged"
until_holds '[ -e away/bad.csv.limes.json ] && [ -e away/slow.csv ]'
diff away/bad.csv.limes.json <(grep bad.csv results)
echo text >in/notes.txt.part
echo "no number" >in/broken.csv
until_holds 'grep -q "notes.txt.part" errors && grep -q "\"verdict\":\"not judged\",\"reason\":\"in/broken.csv" results'
part 1.5 >in/broken.csv # as it was repaired
until_holds '[ "$(judged broken.csv)" -eq 2 ] && [ -e away/broken.csv ]'
mkdir again && part 1.5 >in/slow.csv
until_holds '[ -e away/slow-2.csv ]'
end -TERM

# A store that cannot grow: one line, nothing told; then it goes on.
: >results; : >errors
(ulimit -f $(($(stat -c %s a.limes) / 1024 + 40)); trap '' XFSZ; exec "$limes" watch a.limes in --still 0) >results 2>errors &
watch=$!
for i in $(seq 300); do part 1.5 >x.tmp && mv x.tmp "in/full-$i.csv"; done
until_holds 'grep -q "nothing is judged" errors'
sleep 1
[ "$(grep -c "nothing is judged" errors)" -eq 1 ] || fail "one line about the full disk"
end -9
begin a.limes in --still 0 --poll
until_holds '[ "$(grep -o "in/full-[0-9]*.csv\"" results | sort -u | wc -l)" -eq 300 ]'
end -TERM
[ "$("$limes" report a.limes --all-runs --json 2>/dev/null | grep -c '"part":"in/full-')" -eq 300 ] ||
  fail "each file is stored once after the disk was full"

# Pruning that is killed leaves whole parts, and all that was learnt.
learnt=$("$limes" show a.limes --json)
for delay in 002 005 01 02 04; do
  cp a.limes b.limes
  "$limes" prune b.limes --older 0h >/dev/null & pruning=$!
  sleep "0.$delay"
  kill -9 $pruning 2>/dev/null || true
  wait $pruning || true
  left=$("$limes" report b.limes --all-runs --json 2>/dev/null)
  [ -z "$left" ] || ! grep -qv '"findings":\[' <<<"$left" || fail "parts are removed whole"
  [ "$("$limes" show b.limes --json)" = "$learnt" ] || fail "what was learnt stays"
  "$limes" prune b.limes --older 0h >/dev/null
  [ "$("$limes" report b.limes --all-runs --json 2>/dev/null | wc -l)" -le 1 ] || fail "pruning goes on"
  rm b.limes*
done

# What passes the guard is learnt; what does not is held back.
rm -f in/*; : >results; : >errors
for i in $(seq 20 39); do part "1.$i" >"good/more-$i.csv"; done
"$limes" learn a.limes good --guard >/dev/null 2>&1 || true
before=$("$limes" log a.limes --json | tail -n 1 | grep -o '"learnt":[0-9]*')
begin a.limes in --still 0 --learn-ok
part 1.255 >x.tmp && mv x.tmp in/new.csv
part 9 >x.tmp && mv x.tmp in/nok.csv
until_holds '[ "$(judged nok.csv)" -eq 1 ] && "$limes" log a.limes --json | tail -n 1 | grep -vq "$before,"'
end -TERM
"$limes" show a.limes --json | grep -q "\"learnt\":$((${before#*:} + 1))," || fail "OK is learnt, NOK is not"

# Results wait for the broker: each arrives, once it is back.
if command -v mosquitto >/dev/null || [ -x /usr/sbin/mosquitto ]; then
  if "$limes" watch a.limes in --mqtt nowhere.invalid --topic '#' 2>&1 | grep -q 'built without'; then
    exit 0
  fi
  port=$((20000 + $$ % 20000))
  printf 'listener %d 127.0.0.1\nallow_anonymous false\npassword_file %s\n' "$port" "$work/users" >broker.conf
  echo secret >password
  PATH=$PATH:/usr/sbin
  touch users && mosquitto_passwd -b users bench secret
  start_broker() { mosquitto -c broker.conf >>broker.log 2>&1 & broker=$!; sleep 0.5; }
  stop_broker() { kill "$broker"; wait "$broker" || true; broker=; }
  listen() { mosquitto_sub -p "$port" -u bench -P secret -i listener -c -q 1 -t bench/1 >>heard 2>/dev/null & listeners+=" $!"; }
  arrived() { grep -o "\"part\":\"in/$1-[0-9]*" heard | sort -u | wc -l; }
  chmod a+r users broker.conf && chmod a+rx . # the broker may give up its rights
  : >heard
  rm -f in/*
  mqtt=(--mqtt "127.0.0.1:$port" --topic bench/1 --mqtt-user bench --mqtt-password password)
  start_broker
  listen
  begin a.limes in --still 0 "${mqtt[@]}"
  for i in 1 2 3; do part 1.5 >x.tmp && mv x.tmp "in/here-$i.csv"; done
  until_holds '[ "$(arrived here)" -eq 3 ]'
  stop_broker
  for i in $(seq 250); do part 1.5 >x.tmp && mv x.tmp "in/gone-$i.csv"; done
  until_holds '[ "$(judged "gone-250.csv")" -eq 1 ] && grep -q "results wait in the store" errors'
  end -9 # and killed meanwhile
  start_broker # which keeps no subscriptions: the listener must be there before the results
  for listener in $listeners; do kill "$listener"; wait "$listener" || true; done
  listeners=
  listen
  until_holds 'mosquitto_pub -p "$port" -u bench -P secret -t bench/1 -m ready && grep -q ready heard'
  begin a.limes in --still 0 "${mqtt[@]}"
  until_holds '[ "$(arrived gone)" -eq 250 ]'
  end -TERM
  stop_broker

  # Over TLS: to a broker whose certificate is signed by a known authority and names the host.
  authority() { openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj "/CN=$1" -keyout "$1.key" -out "$1.crt" 2>/dev/null; }
  authority known
  authority foreign
  openssl req -newkey rsa:2048 -nodes -subj /CN=broker -keyout broker.key -out broker.csr 2>/dev/null
  openssl x509 -req -in broker.csr -CA known.crt -CAkey known.key -CAcreateserial -days 2 -out broker.crt \
    -extfile <(echo subjectAltName=IP:127.0.0.1) 2>/dev/null
  chmod a+r broker.key broker.crt known.crt
  printf 'listener %d 127.0.0.1\nallow_anonymous false\npassword_file %s\ncertfile %s\nkeyfile %s\n' \
    "$port" "$work/users" "$work/broker.crt" "$work/broker.key" >broker.conf
  rm -f in/*; : >errors
  start_broker
  part 1.5 >in/safe-1.csv
  begin a.limes in --still 0 "${mqtt[@]}" --mqtt-tls foreign.crt
  until_holds 'grep -q "results wait in the store" errors'
  ! grep -q "connected to" errors || fail "a certificate of a foreign authority is refused"
  end -9
  begin a.limes in --still 0 --mqtt "localhost:$port" "${mqtt[@]:2}" --mqtt-tls known.crt
  until_holds '[ "$(grep -c "results wait in the store" errors)" -eq 2 ]'
  ! grep -q "connected to" errors || fail "a certificate of another host is refused"
  end -9
  for listener in $listeners; do kill "$listener"; wait "$listener" || true; done
  : >heard
  mosquitto_sub -h 127.0.0.1 -p "$port" -u bench -P secret --cafile known.crt -q 1 -t bench/1 >>heard 2>/dev/null & listeners=$!
  until_holds 'mosquitto_pub -h 127.0.0.1 -p "$port" -u bench -P secret --cafile known.crt -t bench/1 -m ready && grep -q ready heard'
  begin a.limes in --still 0 "${mqtt[@]}" --mqtt-tls known.crt
  until_holds '[ "$(arrived safe)" -eq 1 ]'
  end -TERM
fi
