#!/usr/bin/env bash
# The daemon at work on a development machine: a scratch unit under the build
# directory, the MCU simulator on a pseudo-terminal, and pdud on top of it.
#   scripts/demo.sh [BUILD_DIR]      (make demo builds first, then runs this)
# DEMO_SECONDS=N stops after N seconds (default: run until Ctrl-C);
# DEMO_MODEL picks the model (default ZLT8AC); DEMO_ROOT the scratch root.
set -euo pipefail

build=$(cd "${1:-build/default}" && pwd)
model=${DEMO_MODEL:-ZLT8AC}
root=${DEMO_ROOT:-$build/demo-root}
emu=${PDUD_TEST_EMULATOR:-}   # the emulator in front of cross-built programs
command -v nc > /dev/null || { echo "demo: nc is missing: install the Debian package netcat-openbsd" >&2; exit 1; }
for prog in pdud pdu-mcu-sim pdu-nvram; do
  [ -x "$build/$prog" ] || { echo "demo: $build/$prog is missing: build first (make demo does)" >&2; exit 1; }
done
nvram() { $emu "$build/pdu-nvram" --root "$root" "$@"; }

# Any TCP socket on the port: listening, connected or lingering in TIME_WAIT
# (which would keep pdud from binding it).
in_use() { grep -qi "$(printf ':%04x ' "$1")" /proc/net/tcp /proc/net/tcp6 2>/dev/null; }
free_port() {
  local p=$1
  while in_use "$p"; do p=$((p + 1)); done
  echo "$p"
}
# Waits up to 60 s for a shell condition, as long as the programs run.
wait_for() {
  for _ in $(seq 600); do
    eval "$1" && return 0
    for pid in $sim_pid $pdud_pid; do
      kill -0 "$pid" 2>/dev/null && continue
      echo "demo: a program ended while waiting for $2; its output:" >&2
      tail -n 20 "$root/var/log/mcu-sim.log" "$root/var/log/pdud.log" >&2
      exit 1
    done
    sleep 0.1
  done
  echo "demo: gave up waiting for: $2" >&2
  exit 1
}

sim_pid= pdud_pid=
cleanup() {
  trap - EXIT INT TERM
  # pdud removes its shared memory when it ends on SIGTERM; the simulator
  # removes its link to the pseudo-terminal.
  for pid in $pdud_pid $sim_pid; do
    kill -TERM "$pid" 2>/dev/null || true
    for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
}
trap cleanup EXIT
trap 'echo; echo "demo: stopping"; exit 0' INT TERM

# --- the scratch unit -------------------------------------------------------
rm -rf "$root"
mkdir -p "$root"/{user,etc_ro,dev,var/run,var/log}
tcp_port=$(free_port 4001)
ws_port=$(free_port 45678)
cat > "$root/etc_ro/argument.text" <<EOF
ZLTMerge=$model
TitleLabel=$model
HostName=$model
wan_dhcp_hn=$model
wanConnectionMode=DHCP
connectionType=DHCP
localBaud=3
EnableNotification=1
Emaildailyopen=1
IncludeOutlet=1010101010101010
watchdogclear=1
EOF
cp "$root/etc_ro/argument.text" "$root/user/argument.text"
: > "$root/user/ZLT.log"
while IFS== read -r key value; do nvram set "$key" "$value"; done <<EOF
ZLTMerge=$model
TitleLabel=$model
HostName=$model
TCPPORT=$tcp_port
TELNETPORT=$(free_port 4002)
wanConnectionMode=DHCP
wanlanVal=87838703
firstlogin=1
EnableNotification=1
Emaildailyopen=1
IncludeOutlet=1010101010101010
logfilesize=1
EnableTelnet=1
sshOpen=0
EOF

# --- the simulator and the daemon -------------------------------------------
$emu "$build/pdu-mcu-sim" --model "$model" --link "$root/dev/mcu" > "$root/var/log/mcu-sim.log" 2>&1 &
sim_pid=$!
wait_for '[ -L "$root/dev/mcu" ]' "the simulator's pseudo-terminal"

pdud_args=(--root "$root" --host --serial "$root/dev/mcu" --settle-ms 200 --tcp-server --websocket --ws-port "$ws_port")
# >>> dashboard: served once pdud knows --http [ADDR:]PORT (a dashboard and /metrics).
http_url=
if $emu "$build/pdud" --help 2>&1 | grep -q -- '--http'; then
  http_port=$(free_port 8080)
  pdud_args+=(--http "127.0.0.1:$http_port")
  http_url="http://127.0.0.1:$http_port/"
fi
# <<< dashboard
$emu "$build/pdud" "${pdud_args[@]}" > "$root/var/log/pdud.log" 2>&1 &
pdud_pid=$!
wait_for 'grep -q "pdud: reading the MCU line" "$root/var/log/pdud.log"' "pdud to read the MCU line"
wait_for 'in_use "$tcp_port"' "pdud's TCP command port $tcp_port"

case $model in ZLT8*) outlets=8 ;; ZLT4*) outlets=4 ;; *) outlets=2 ;; esac
# Command lines to the MCU, as a user on the TCP port would type them (nc
# reads what the port says, so that closing never resets the connection).
mcu() { printf '%s\r\n' "$@" | nc -N 127.0.0.1 "$tcp_port" > /dev/null; }
# The status dump, and the same values asked one by one (the daemon ignores
# the dump of some models).
refresh() {
  local q=(GUISTATUS GetPowerStatus GetKeyStatus GetRelayStatus GetSystemOverVoltageThreshold
           GetSystemUnderVoltageThreshold GetTotalCurrent GetTotalPower GetTotalEnergyConsumed GetVoltage GetFrequency) n
  for n in $(seq "$outlets"); do
    q+=("GetOutlet $n" "GetOutletMode $n" "GetOutletVoltage $n" "GetOutletCurrent $n" "GetOutletPower $n")
  done
  # The clock report comes last: once it is in nvram, so is the rest.
  nvram unset Energymeasured2 || true
  mcu "${q[@]}" GUISYSTIME
  wait_for '[ -n "$(nvram get Energymeasured2 2>/dev/null)" ]' "the unit's values in nvram"
}
refresh
mcu "Set Outlet 2 OFF"
wait_for '[ "$(nvram get Tio2 2>/dev/null)" = 1 ] && grep -q "Outlet 2" "$root/user/ZLT.log"' "outlet 2 switched off"
refresh

# --- what the daemon now knows, read back from nvram ------------------------
declare -A nv
while IFS= read -r line; do nv[${line%%=*}]=${line#*=}; done < <(nvram show)
v() { echo "${nv[$1]:-?}"; }
echo
echo "pdud demo: model $(v ZLTMerge), title $(v TitleLabel), system power $(v Power), key lock $(v powerlock)," \
     "relay $(v relaypower), over/under voltage $(v VoltageThreshold)/$(v UnderVoltage) V"
tip=$(v Tipoutlet)
for n in $(seq "$outlets"); do
  case ${tip:$((n - 1)):1} in 2) st=Connected ;; 1) st=Idle ;; 3) st=Overload ;; 0) st=AbnormalVoltage ;; *) st=? ;; esac
  state=off; [ "$(v "Outlet$n")" = 1 ] && state=on
  printf '  outlet %s  %-4s %s  %s  %s  %s\n' "$n" "$state" "$st" "$(v "Power$n")" "$(v "Carrent$n")" "$(v "Voltageout$n")"
done
echo "  total $(v TotalCarrent) $(v TotalPower) $(v TotalEnergyConsumed) at $(v Voltage) $(v Frequency)"
protocols=(? 1-wire I2C Modbus-RTU-RS485 Door Relay)
for s in 1 2; do
  pro=$(v "sensorpro$s")
  if [ "$pro" = "?" ]; then echo "  sensor $s: not reported (the daemon ignores this model's status dump)"; continue; fi
  case $pro in [1-5]*) pro=${protocols[${pro:0:1}]} ;; esac
  power=off; [ "$(v "sensor${s}power")" = 1 ] && power=on
  echo "  sensor $s: $power, $pro, type code $(v "sensortype$s")," \
       "limits $(v "sensor${s}minvalue")..$(v "sensor${s}maxvalue") $(v "sensor${s}unit")"
done
echo "last log lines ($root/user/ZLT.log):"
tail -n 3 "$root/user/ZLT.log" | sed 's/^/  /'
echo "board commands it would have run ($root/var/log/commands.log):"
if [ -s "$root/var/log/commands.log" ]; then tail -n 5 "$root/var/log/commands.log" | sed 's/^/  /'; else echo "  (none yet)"; fi
cat <<EOF

pdud runs on the simulated MCU. Try:
  type MCU commands:  nc localhost $tcp_port
                      then Set Outlet 2 ON, GetOutletMode 2, GUISTATUS, SIM OVERLOAD 2, SIM GROUND LOST
  nvram:              $build/pdu-nvram --root $root show
  settings file:      cat $root/user/argument.text
  logs:               tail -f $root/user/ZLT.log $root/var/log/pdud.log $root/var/log/mcu-sim.log
EOF
if [ -n "$http_url" ]; then echo "  dashboard:          $http_url   (metrics: ${http_url}metrics)"; fi

if [ -n "${DEMO_SECONDS:-}" ]; then
  echo "(stopping in $DEMO_SECONDS s)"
  sleep "$DEMO_SECONDS" & wait $! || true
else
  echo "(Ctrl-C stops it)"
  while kill -0 "$pdud_pid" 2>/dev/null; do sleep 1 & wait $! || true; done
  echo "demo: pdud ended; its output:" >&2
  tail -n 20 "$root/var/log/pdud.log" >&2
  exit 1
fi
kill -0 "$pdud_pid" 2>/dev/null || { echo "demo: pdud ended early" >&2; tail -n 20 "$root/var/log/pdud.log" >&2; exit 1; }
