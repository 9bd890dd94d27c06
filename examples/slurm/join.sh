#!/usr/bin/env bash
# Joins the parts; the last job of submit.sh.
exec tilewright join "$1"
