#!/usr/bin/env bash
# Plans; the first job of submit.sh.
exec tilewright plan -q "$@"
