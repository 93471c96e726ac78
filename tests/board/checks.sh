#!/bin/busybox sh
# The first process of an emulated board: checks on each of its ports what can be shown there.
#
# Each check is a line, "ok CLAIM" or "FAIL CLAIM"; behind the latter come the command, its exit code and what it said.
# The last line, "end NUMBER", counts the checks. "ask WORDS" asks the computer outside, which answers "done" or "no":
#   line DEVICE BAUD PARITY STOP_BITS   the station understands these settings alone
#   line DEVICE                         the station understands whatever comes
#   held DEVICE                         bytes have come since the last question, and none was understood
#   unplug, plug                        of the USB converter
# A board is slow and slower still beside others, so nothing here is judged by time. A command that hangs is ended after two
# minutes, which fails its check.

# shellcheck shell=dash
# shellcheck disable=SC2086 # commands are kept in variables, to be split
# shellcheck disable=SC2254 # an exit code may be a pattern
# shellcheck disable=SC2154 # board comes from the command line of the kernel

checks=0 failures=0

# check CLAIM COMMAND...: the claim is true when the command succeeds.
check() {
    claim=$1
    shift
    checks=$((checks + 1))
    command=$* code=
    : >/tmp/said
    if "$@"; then
        echo "ok $claim"
        return
    fi
    failures=$((failures + 1))
    echo "FAIL $claim"
    echo "    $command${code:+: exit code $code}"
    sed 's/^/    /' /tmp/said
}

# ends CODE TEXT COMMAND...: the command ends with the code, which may be a pattern, and what it says has the text.
ends() {
    wanted=$1 text=$2
    shift 2
    command=$*
    timeout 120 "$@" >/tmp/said 2>&1 </dev/null
    code=$?
    case $code in
    $wanted) grep -qF -- "$text" /tmp/said ;;
    *) return 1 ;;
    esac
}

# no_value COMMAND...: the command asks, gets no answer or noise, and shows nothing of what the station holds.
no_value() {
    ends '[24]' '' "$@" && ! grep -qF 4660 /tmp/said && ask held "$device"
}

# has FILE WORD...: each word stands in the file.
has() {
    cp "$1" /tmp/said
    shift
    for word in "$@"; do
        grep -qE "(^|[ ;])$word([ ;]|\$)" /tmp/said || return 1
    done
}

# ask WORDS...: the computer outside has done it when this returns.
ask() {
    echo "ask $*"
    read -r answer
    [ "$answer" = "done" ]
}

# starts COMMAND...: starts a command that goes on, with fd 3 as its input.
starts() {
    command=$*
    seen=0
    : >/tmp/kept # now, and not when the command has got so far
    "$@" >>/tmp/kept 2>&1 <&3 &
    keeper=$!
}

# keeps COMMAND...: starts a command of plchost that goes on. It has shown a good value when this returns.
keeps() {
    starts "$@"
    shows '(good,'
}

# logs: starts the example of the runtime library, not busybox's program of that name. It has shown a value of the station
# when this returns.
logs() {
    starts /usr/bin/logger "$port"
    shows '4x:100 = 4660'
}

# look: what the command that goes on has said so far is not new any more.
look() {
    seen=$(wc -l </tmp/kept)
}

# shows TEXT: the command that goes on says the text, sooner or later.
shows() {
    tries=0
    until tail -n +$((seen + 1)) /tmp/kept | grep -qF -- "$1"; do
        tries=$((tries + 1))
        [ $tries -lt 1200 ] && kill -0 $keeper 2>/dev/null && sleep 0.1 && continue
        command="$command shows '$1'"
        cp /tmp/kept /tmp/said
        return 1
    done
}

# left CODE: the command that goes on ends by itself with the code.
left() {
    wait $keeper
    code=$?
    cp /tmp/kept /tmp/said
    [ $code -eq "$1" ]
}

# released: the command that goes on is asked to end, and does with exit code 0.
released() {
    kill $keeper
    left 0
}

# killed: the command that goes on knows no end of its own, and is ended by a signal.
killed() {
    kill $keeper
    left 143
}

# settings_of PORT: what its driver says. The complaint of stty that a port has no window is of no interest.
settings_of() {
    stty -a -F "$1" 2>/dev/null
}

# use DRIVER DEVICE: the checks that follow are about this port.
use() {
    driver=$1 device=$2 port=/dev/$2
    on="-p $port -o 10 --retries 0"
    read="plchost read $on 4x:100:3"
    watch="plchost watch $on 4x:100:3"
    hasty="plchost read -p $port -o 0.5 --retries 0 4x:100:3" # where no reply is to come
    ask line "$device"
}
values='4x:100:3 = 4660 43981 1'

works() {
    check "$driver: read" ends 0 "$values" $read
    check "$driver: write and read back" ends 0 'written and read back' plchost write $on --verify 4x:300=7,8,9
    check "$driver: watch" ends 0 "$values" $watch --once
    check "$driver: run, two scans of the packaging line and a write" ends 0 'write Line.Set.Ramp up = 500: done' \
        sh -c "echo 'Line.Set.Ramp up = 500' | plchost run /packaging_line.json -p $port --scans 2"
}

# Only a station with the same settings understands the port: the emulator's trace says what the chip was told.
understood() {
    ask line "$device" "$1" "$2" "$3"
    check "$driver: $1 baud, parity $2, $3 stop bits are those of the line" ends 0 "$values" $read -b "$1" -P "$2" -s "$3"
}

# settings RATE...: each rate, parity and number of stop bits once.
settings() {
    for rate in "$@"; do
        understood "$rate" even 1
    done
    understood 19200 odd 1
    understood 19200 none 2
    understood 19200 even 2
    understood 19200 none 1
}

# no_values_at RATE...: at a wrong rate noise comes back, which may be late for the time-out, otherwise nothing.
no_values_at() {
    ask line "$device" 19200 even 1
    for rate in "$@"; do
        check "$driver: $rate baud and a station at 19200: no value" no_value $hasty -b "$rate"
    done
    for character in 'odd 1' 'none 1' 'none 2' 'even 2'; do
        check "$driver: parity $character and a station at even 1: no value" \
            no_value $hasty -P "${character% *}" -s "${character#* }"
    done
    check "$driver: and as the station has it: values" ends 0 "$values" $read
    ask line "$device"
}

# read_back RATE...: as `settings`, where the emulator tells nothing: what the driver says while a program uses the port.
read_back() {
    for rate in "$@"; do
        check "$driver: $rate baud are in force" in_force "-b $rate" "speed $rate baud"
    done
    check "$driver: even parity and 1 stop bit are in force" in_force '-P even -s 1' parenb -parodd -cstopb inpck
    check "$driver: odd parity and 1 stop bit are in force" in_force '-P odd -s 1' parenb parodd -cstopb inpck
    check "$driver: no parity and 2 stop bits are in force" in_force '-P none -s 2' -parenb cstopb -inpck
    check "$driver: no parity and 1 stop bit are in force" in_force '-P none -s 1' -parenb -cstopb -inpck
}

# in_force OPTIONS WORD...: a program that gets values with the options goes on while the words are those of the driver.
in_force() {
    keeps $watch $1 || return 1
    shift
    settings_of "$port" >/tmp/mode
    released && has /tmp/mode "$@"
}

held() {
    check "$driver: the first program" keeps $watch -v
    check "$driver: a second program is refused and told who holds the port" \
        ends 5 "it is in use by process $keeper (plchost)" $read
    ln -sf "$port" /tmp/other-name
    check "$driver: a second program is refused under another name too" ends 5 "it is in use by" plchost read -p /tmp/other-name 4x:100:3
    check "$driver: the first goes on and ends well" released
    check "$driver: then the port is free" ends 0 "$values" $read
}

put_back() {
    stty -F "$port" 4800 -parenb cstopb
    settings_of "$port" >/tmp/before
    check "$driver: another rate and parity" ends 0 "$values" $read -b 38400 -P odd
    settings_of "$port" >/tmp/after
    check "$driver: the settings from before are put back" cmp /tmp/before /tmp/after
}

hurries() {
    check "$driver: bytes are handed over at once" ends 0 'hands bytes over at once' $read -v
}

rs485_refused() {
    check "$driver: --rs485 is refused, with a way out" ends 5 'use a converter that switches by itself' $read --rs485
}

rs485_taken() {
    check "$driver: --rs485" ends 0 'switches the direction of the line by RTS' $read -v --rs485
    check "$driver: --rs485=rts-after-send,1,2" ends 0 "$values" $read --rs485=rts-after-send,1,2
    check "$driver: delays that the driver shortens are refused" ends 5 'it offers rts-on-send,100,100' \
        $read --rs485=rts-on-send,1000,1000
    check "$driver: without --rs485 afterwards" ends 0 "$values" $read
}

too_fast() {
    check "$driver: $1 baud is too fast and is refused" ends 5 "since it cannot do $1" $read -b "$1"
}

# What 115200 divided by a whole number cannot make.
divided_rates() {
    check "$driver: 31250 baud would be 28800 and is refused" ends 5 \
        'runs at 28800 baud, since it cannot do 31250; choose a rate' $read -b 31250
    too_fast 250000
    ask line "$device" 28800 even 1
    check "$driver: with --any-rate a station at 28800 is understood" ends 0 "$values" $read -b 31250 --any-rate
    check "$driver: with --any-rate the rate that it has is told" ends 0 'runs at 28800 baud' $read -b 31250 --any-rate
    ask line "$device" 10473 even 1
    check "$driver: 10300 baud is near enough, with a warning" ends 0 'runs at 10473 baud' $read -b 10300
    ask line "$device"
}

# converter_hurries: while a program uses the port the converter waits 1 ms at most for more bytes.
converter_hurries() {
    keeps $watch || return 1
    cat /sys/bus/usb-serial/devices/"$device"/latency_timer >/tmp/latency
    released && has /tmp/latency 1
}

# chip_hurries: while a program uses the port the chip hands over each byte at once, and not afterwards.
chip_hurries() {
    trigger=/sys/class/tty/$device/rx_trig_bytes
    before=$(cat "$trigger")
    keeps $watch || return 1
    cat "$trigger" >/tmp/trigger
    released && has /tmp/trigger 1 && [ "$before" -gt 1 ] && [ "$(cat "$trigger")" -eq "$before" ]
}

counts_errors() {
    check "$driver: line errors are counted, and there are none" \
        ends 0 'line errors: parity 0, framing 0, overruns 0' $watch --once -v
}

# plug: puts the converter in, and does what a system does that gives devices lasting names.
plug() {
    ask plug
    until converter=$(ls /dev/ttyUSB* 2>/dev/null); do sleep 0.1; done
    mkdir -p /dev/serial/by-id
    ln -sf "$converter" /dev/serial/by-id/usb-adapter-port0
}

unplug() {
    ask unplug
    rm -f /dev/serial/by-id/*
    while ls /dev/ttyUSB* >/tmp/said 2>&1; do sleep 0.1; done
}

# The converter is pulled out and put back while programs use it, and needs its settings anew. A request that was on the
# line then holds up the next one for its time-out, which is therefore short; what goes unanswered is asked again.
pulled_out() {
    watch="plchost watch -p $port -o 2 4x:100:3"
    ask line "$device" 19200 even 1
    unplug
    check "$driver: a port that is not there is refused" ends 5 'there is no such port' $read
    plug

    check "$driver: watch" keeps $watch
    look
    unplug
    check "$driver: watch, pulled out: it is told" shows 'It is looked for until it is back'
    check "$driver: watch, pulled out: the variable's state says so" shows '(port lost,'
    look
    plug
    check "$driver: watch, put back: it is told" shows 'is back after'
    check "$driver: watch, put back: the value is good again" shows '(good,'
    check "$driver: watch, put back: all is well at the end" released

    check "$driver: watch with a lasting name" keeps $watch
    # Who still has the old device keeps its number from the new one.
    sleep 3600 <>"$port" &
    holder=$!
    look
    unplug
    check "$driver: watch, pulled out again" shows '(port lost,'
    look
    plug
    check "$driver: the converter has another number now" [ "$converter" = /dev/ttyUSB1 ]
    check "$driver: watch, put back as $converter: the value is good again" shows '(good,'
    check "$driver: watch, put back as $converter: all is well at the end" released
    kill $holder
    unplug
    plug

    check "$driver: run" keeps plchost run /tmp/speed.json -p "$port" --every 0.5
    echo 'Speed = 5' >&3
    check "$driver: run: a write" shows 'write Speed = 5: done'
    look
    unplug
    check "$driver: run, pulled out: the variable's state says so" shows '(port lost,'
    echo 'Speed = 6' >&3
    check "$driver: run, pulled out: a write fails at once" shows 'write Speed = 6: failed'
    look
    plug
    check "$driver: run, put back: the value from before, nothing was sent later" shows 'Speed = 5  (good,'
    echo 'Speed = 7' >&3
    check "$driver: run, put back: a write" shows 'write Speed = 7: done'
    check "$driver: run, put back: and its value" shows 'Speed = 7  (good,'
    echo quit >&3
    check "$driver: run, put back: the end tells that a write was lost" left 5

    check "$driver: the library's logger shows a value" logs
    look
    unplug
    check "$driver: the library's logger, pulled out: it is told" shows 'port: '
    check "$driver: the library's logger, pulled out: the last value is not trusted" shows '4x:100: '
    look
    plug
    check "$driver: the library's logger, put back: it is told" shows 'port: back'
    check "$driver: the library's logger, put back: the value is good again" shows '4x:100 = 4660'
    check "$driver: the library's logger ends when it is asked to" killed

    check "$driver: watch --no-reopen" keeps $watch --no-reopen
    unplug
    check "$driver: watch --no-reopen, pulled out: exit code 5" left 5
    plug
    ask line "$device"
}

# A check that cannot fail shows nothing.
self_test() {
    case "$(check claim false)" in
    'FAIL claim'*false) ;;
    *) echo 'FAIL a check notices what is wrong' ;;
    esac
    case "$(check claim ends 0 word sh -c 'echo word; exit 4')" in
    'FAIL claim'*'exit code 4'*word) ;;
    *) echo 'FAIL a check notices a wrong exit code' ;;
    esac
    case "$(check claim ends 4 words sh -c 'echo word; exit 4')" in
    'FAIL claim'*) ;;
    *) echo 'FAIL a check notices what was not said' ;;
    esac
    case "$(check claim ends 4 word sh -c 'echo word; exit 4')" in
    'ok claim') ;;
    *) echo 'FAIL a check notices what is right' ;;
    esac
}

/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t sysfs sys /sys
/bin/busybox mount -t devtmpfs dev /dev
/bin/busybox --install -s /bin
export PATH=/bin:/usr/bin
stty -echo
dmesg -n 1
self_test
for module in /modules/*.ko; do
    [ ! -e "$module" ] || insmod "$module"
done

mkfifo /tmp/orders
exec 3<>/tmp/orders
echo '{"link": {"replyTimeoutMs": 2000}, "variables": [{"name": "Speed", "area": "4x", "address": "400"}]}' >/tmp/speed.json
standard_rates='300 600 1200 1800 2400 4800 9600 19200 38400 57600 115200'
fast_rates='230400 460800 500000 576000 921600 1000000 1152000 1500000'
case "$board" in
virt)
    use 16550A ttyS0
    # Before the lowest rates, at which the driver itself makes the chip hand over single bytes from then on.
    check "$driver: the chip hands over single bytes" chip_hurries
    works
    settings $standard_rates
    no_values_at 300 600 1200 1800 2400 4800 9600 38400 57600 115200
    held
    put_back
    hurries
    counts_errors
    rs485_refused
    divided_rates
    until [ -c /dev/ttyUSB0 ]; do sleep 0.1; done
    use FTDI ttyUSB0
    works
    settings $standard_rates $fast_rates 31250 250000 2000000 3000000
    no_values_at 300 600 1200 1800 2400 4800 9600 38400 57600 115200 $fast_rates
    held
    put_back
    hurries
    counts_errors
    rs485_refused
    too_fast 4000000
    check "$driver: the converter hands bytes over after 1 ms" converter_hurries
    pulled_out
    ;;
imx6ul)
    use i.MX ttymxc1
    works
    read_back $standard_rates $fast_rates 2000000 3000000 4000000
    held
    put_back
    hurries
    counts_errors
    rs485_taken
    ;;
vexpress)
    use PL011 ttyAMA1
    works
    settings $standard_rates $fast_rates
    no_values_at 9600 38400
    too_fast 2000000
    held
    put_back
    hurries
    counts_errors
    rs485_taken
    ;;
esac
[ $failures -eq 0 ] || dmesg | tail -n 60 | sed 's/^/    /'
echo "end $checks"
# The computer outside ends the machine.
sleep 60
