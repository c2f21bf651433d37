#!/usr/bin/env bash
# Runs an engine and keeps a copy of everything it prints, so that the lines of
# a whole match can be checked afterwards.  usage: logged_engine.sh ENGINE LOGDIR
set -o pipefail
"$1" | tee "$2/engine-$$.log"
