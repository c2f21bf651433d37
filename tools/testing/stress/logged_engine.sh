#!/usr/bin/env bash
# Runs an engine and keeps a copy of everything it prints, so that the lines of
# a whole match can be checked afterwards.  usage: logged_engine.sh ENGINE LOGDIR
# Each start gets a file of its own: process numbers come round again in a long
# run beside other work, and a log named after one was once overwritten.
set -o pipefail
log=$(mktemp --suffix=.log "$2/engine-XXXXXXXX") || exit 1
"$1" | tee "$log"
