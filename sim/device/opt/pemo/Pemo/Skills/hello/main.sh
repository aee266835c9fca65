#!/bin/sh
# A demo skill: says hello, then idles until it is terminated.
# Arguments: REGISTRY_URI ENTRY_FILE CONTEXT
echo "hello: started as $(id -un) with context '$3', registry $1"
trap 'echo "hello: terminated"; exit 0' TERM INT
while :; do sleep 1; done
