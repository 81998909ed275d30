#!/usr/bin/env bash
# The examples' pictures in doc/ (example-*.png), taken the way a user would see them: each
# program runs under Xvfb in a private home, is driven through the X server, and its window is
# grabbed by title. Needs a build (./run test makes one) and, beyond the project's packages,
# x11-apps (xwd), netpbm and xdotool. Run from the repository root:
#   NO_AT_BRIDGE=1 xvfb-run -a -s '-screen 0 1600x1200x24' doc/example-screenshots.sh
set -euo pipefail
cd "$(dirname "$0")/.."
bin=${BUILD:-build}/examples
for tool in xwd xwdtopnm pnmtopng xdotool; do
    command -v $tool >/dev/null || { echo "missing: $tool (x11-apps, netpbm, xdotool)" >&2; exit 1; }
done

# A fresh home with the colour scheme $1, for the program that follows.
fresh_home() {
    export HOME=$(mktemp -d)
    export XDG_CONFIG_HOME=$HOME/.config
    mkdir -p "$XDG_CONFIG_HOME/taviro"
    echo "scheme = $1" > "$XDG_CONFIG_HOME/taviro/Colors.ini"
}
# grab TITLE FILE: the window of that title as doc/FILE.
grab() {
    for _ in $(seq 50); do xdotool search --name "^$1\$" >/dev/null && break; sleep 0.2; done
    xwd -silent -name "$1" | xwdtopnm 2>/dev/null | pnmtopng -compression 9 > "doc/$2"
    echo "doc/$2"
}
stop() { kill -TERM "$1"; wait "$1" || true; rm -rf "$HOME"; }

# The farm monitor on the embedded farm, in the Dark scheme.
fresh_home 3
"$bin/farm_monitor/farm_monitor" --seed 7 >/dev/null 2>&1 &
pid=$!
sleep 5
grab "Farm monitor" example-farm-monitor.png
stop $pid

# The log tail: a log that is still being written, past the line limit, searched at start.
fresh_home 1
log=$HOME/render.log
for i in $(seq 0 2999); do
    case $((i % 17)) in
    5) echo "09:$((i / 60 % 60)):$((i % 60))  WARNING node$((i % 24))  frame $i: texture cache full" ;;
    11) echo "09:$((i / 60 % 60)):$((i % 60))  ERROR   node$((i % 24))  frame $i: license server not reachable" ;;
    *) echo "09:$((i / 60 % 60)):$((i % 60))  INFO    node$((i % 24))  frame $i: rendered in $((i % 90 + 3)) s" ;;
    esac
done > "$log"
"$bin/log_tail/log_tail" --lines 2000 --find license "$log" >/dev/null 2>&1 &
pid=$!
sleep 3
for i in 1 2 3; do echo "10:00:0$i  INFO    node07  frame $((2999 + i)): rendered in 4 s" >> "$log"; done
sleep 2
grab "$log" example-log-tail.png
stop $pid

# The dialog in the Light scheme, then its OK by the keyboard: the question comes up over it.
fresh_home 1
"$bin/themed_dialog/themed_dialog" >/dev/null 2>&1 &
pid=$!
sleep 3
xdotool windowfocus --sync "$(xdotool search --name '^Job settings$' | head -1)"
xdotool key Return
sleep 3
# The two windows together, the question pasted where it sits over the dialog (a grab of the
# screen itself leaves it black).
dialog=$(xdotool search --name '^Job settings$' | head -1)
question=$(xdotool search --onlyvisible --name '^themed_dialog$' | head -1)
at() { xdotool getwindowgeometry --shell "$1" | sed -n 's/^\([XY]\)=//p' | tr '\n' ' '; }
read -r dx dy <<< "$(at "$dialog")"
read -r qx qy <<< "$(at "$question")"
xwd -silent -id "$question" | xwdtopnm 2>/dev/null > "$HOME/question.pnm"
xwd -silent -id "$dialog" | xwdtopnm 2>/dev/null |
    pnmpaste "$HOME/question.pnm" $((qx - dx)) $((qy - dy)) | pnmtopng -compression 9 > doc/example-themed-dialog.png
echo doc/example-themed-dialog.png
stop $pid
