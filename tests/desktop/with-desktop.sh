#!/usr/bin/env bash
# Runs a command on a desktop of its own that vanishes with it: X server, window manager, session bus and a sound
# server with a virtual microphone. Needs no display, sound card or user session, and runs as root too.
#
#   with-desktop.sh [option…] [--] COMMAND [ARGUMENT…]
#
#   --size WxH       of the screen (default 1280x800)
#   --compositor     also run picom
#   --tray           also run trayer, a host for tray icons
#   --no-wm          no window manager
#   --no-sound       no sound server
#   --no-microphone  a sound server without any input device
#   --pipewire       PipeWire serves the sound instead of PulseAudio
#   --logs DIR       keep what the servers wrote in DIR
#
# The command finds DISPLAY, DBUS_SESSION_BUS_ADDRESS, PULSE_SERVER and a private HOME and XDG_RUNTIME_DIR, and
#   TOLVIK_VIRTUAL_MIC_SINK    the sink whose sound the microphone hears:
#                              paplay --device="$TOLVIK_VIRTUAL_MIC_SINK" speech.wav
#   TOLVIK_VIRTUAL_MIC_SOURCE  the microphone, which is the default source
#   TOLVIK_SPEAKERS_SINK       where everything else plays, unheard by the microphone; the default sink
# The exit code is the command's; 125 when the desktop could not be set up, 77 when a program for it is not installed.
set -uo pipefail

size=1280x800
compositor= tray= wm=1 sound=pulseaudio microphone=1 logs=
while [ $# -gt 0 ]; do
    case $1 in
        --size) size=$2; shift ;;
        --compositor) compositor=1 ;;
        --tray) tray=1 ;;
        --no-wm) wm= ;;
        --no-sound) sound= ;;
        --no-microphone) microphone= ;;
        --pipewire) sound=pipewire ;;
        --logs) logs=$2; shift ;;
        --) shift; break ;;
        -*) echo "with-desktop: unknown option $1" >&2; exit 125 ;;
        *) break ;;
    esac
    shift
done
if [ $# -eq 0 ]; then
    echo "with-desktop: no command" >&2
    exit 125
fi

need() {
    local program
    for program in "$@"; do
        command -v "$program" >/dev/null || { echo "with-desktop: $program is not installed" >&2; exit 77; }
    done
}
need Xvfb xprop dbus-daemon setpriv
[ -z "$wm" ] || need openbox
[ -z "$compositor" ] || need picom
[ -z "$tray" ] || need trayer
[ -z "$sound" ] || need "$sound" pactl
[ "$sound" != pipewire ] || need pipewire-pulse wireplumber

# A socket's path has room for some 100 bytes, so the folder lies near the root whatever TMPDIR says.
root=$(mktemp -d /tmp/tolvik-desktop.XXXXXX) || exit 125
servers=()
tear_down() {
    local i
    # In reverse, so that nobody complains about a server that went before him.
    for ((i = ${#servers[@]} - 1; i >= 0; i--)); do
        kill "${servers[i]}" 2>/dev/null
        for _ in $(seq 40); do
            kill -0 "${servers[i]}" 2>/dev/null || break
            sleep 0.05
        done
        kill -9 "${servers[i]}" 2>/dev/null
        wait "${servers[i]}" 2>/dev/null
    done
    rm -rf "$root"
}
trap tear_down EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

die() {
    echo "with-desktop: $1" >&2
    [ -z "${2:-}" ] || tail -n 20 "$logs/$2.log" >&2
    exit 125
}
# Starts a server that also goes when this script is killed outright.
serve() {
    local name=$1
    shift
    setpriv --pdeathsig TERM "$@" >>"$logs/$name.log" 2>&1 &
    servers+=($!)
}
# Tries a command until it succeeds, ten seconds at most.
until_true() {
    local _
    for _ in $(seq 200); do
        "$@" >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    return 1
}

: "${logs:=$root/logs}"
mkdir -p "$logs" "$root/home" "$root/run"
chmod 700 "$root/run"
export HOME=$root/home XDG_RUNTIME_DIR=$root/run
export XDG_CONFIG_HOME=$HOME/.config XDG_DATA_HOME=$HOME/.local/share XDG_CACHE_HOME=$HOME/.cache
export XDG_STATE_HOME=$HOME/.local/state XDG_SESSION_TYPE=x11
unset DISPLAY WAYLAND_DISPLAY XAUTHORITY SESSION_MANAGER DBUS_SESSION_BUS_ADDRESS PULSE_SERVER PULSE_RUNTIME_PATH \
    XDG_CURRENT_DESKTOP

mkfifo "$root/display" "$root/bus"
exec {display}<>"$root/display" {bus}<>"$root/bus"
serve xvfb Xvfb -displayfd "$display" -screen 0 "${size}x24" -nolisten tcp -noreset
read -r -t 10 -u "$display" number || die "the X server did not start" xvfb
export DISPLAY=:$number

serve dbus dbus-daemon --session --nofork --nopidfile --print-address="$bus"
read -r -t 10 -u "$bus" DBUS_SESSION_BUS_ADDRESS || die "the session bus did not start" dbus
export DBUS_SESSION_BUS_ADDRESS
exec {display}>&- {bus}>&-

if [ -n "$wm" ]; then
    serve openbox openbox --sm-disable
    until_true xprop -root -notype _NET_SUPPORTING_WM_CHECK || die "the window manager did not start" openbox
    has_manager() { xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; }
    until_true has_manager || die "the window manager did not start" openbox
fi
if [ -n "$compositor" ]; then
    serve picom picom --backend xrender --config /dev/null --no-fading-openclose
    sleep 0.3
    kill -0 "${servers[-1]}" 2>/dev/null || die "the compositor did not start" picom
fi
if [ -n "$tray" ]; then
    serve trayer trayer --edge bottom --align right --widthtype request --height 24 --SetDockType true
    sleep 0.3
    kill -0 "${servers[-1]}" 2>/dev/null || die "the tray host did not start" trayer
fi

if [ -n "$sound" ]; then
    export PULSE_SERVER=unix:$XDG_RUNTIME_DIR/pulse/native
    if [ "$sound" = pulseaudio ]; then
        mkdir -p "$XDG_RUNTIME_DIR/pulse"
        chmod 700 "$XDG_RUNTIME_DIR/pulse"
        serve sound env -u PULSE_SERVER pulseaudio -n --daemonize=no --exit-idle-time=-1 --disable-shm=yes --realtime=no \
            --high-priority=no --log-target=stderr --load="module-native-protocol-unix socket=$XDG_RUNTIME_DIR/pulse/native"
    else
        # Headphones by radio are looked for through the system's log-in service, which is not everywhere.
        mkdir -p "$XDG_CONFIG_HOME/wireplumber/bluetooth.lua.d"
        echo 'bluez_monitor.enabled = false' >"$XDG_CONFIG_HOME/wireplumber/bluetooth.lua.d/80-none.lua"
        serve pipewire pipewire
        # The others end, or do without it, when it does not listen yet.
        until_true test -S "$XDG_RUNTIME_DIR/pipewire-0" || die "PipeWire did not start" pipewire
        serve wireplumber wireplumber
        serve sound pipewire-pulse
    fi
    until_true pactl info || die "the sound server did not start" sound

    export TOLVIK_SPEAKERS_SINK=tolvik_speakers
    # With rewinds the first samples out of the monitor take two seconds.
    options="norewinds=1"
    [ "$sound" = pulseaudio ] || options=
    pactl load-module module-null-sink sink_name=$TOLVIK_SPEAKERS_SINK $options rate=48000 channels=2 \
        sink_properties=device.description=Speakers >/dev/null || die "no speakers" sound
    until_true pactl set-default-sink $TOLVIK_SPEAKERS_SINK || die "no default sink" sound
    if [ -n "$microphone" ]; then
        export TOLVIK_VIRTUAL_MIC_SINK=tolvik_mic_sink TOLVIK_VIRTUAL_MIC_SOURCE=tolvik_mic
        pactl load-module module-null-sink sink_name=$TOLVIK_VIRTUAL_MIC_SINK $options rate=48000 channels=1 \
            sink_properties=device.description=Microphone_input >/dev/null || die "no microphone" sound
        pactl load-module module-remap-source source_name=$TOLVIK_VIRTUAL_MIC_SOURCE \
            master=$TOLVIK_VIRTUAL_MIC_SINK.monitor channels=1 channel_map=mono source_properties=device.description=Virtual_microphone \
            >/dev/null || die "no microphone" sound
        until_true pactl set-default-source $TOLVIK_VIRTUAL_MIC_SOURCE || die "no default source" sound
    fi
fi

# In the background, so that a signal to this script is heard at once; the terminal stays the command's input.
setpriv --pdeathsig TERM "$@" <&0 &
command=$!
# A background command ignores the interrupt key, hence the other signal.
trap 'kill -TERM $command 2>/dev/null; wait $command; exit 130' INT
trap 'kill -TERM $command 2>/dev/null; wait $command; exit 143' TERM
wait $command
