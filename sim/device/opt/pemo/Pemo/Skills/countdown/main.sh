#!/bin/sh
# A demo skill that ends by itself: counts down from the launch context
# (default 3) and exits with status 3, which the system manager reports.
# Arguments: REGISTRY_URI ENTRY_FILE CONTEXT
n=${3:-3}
case $n in ''|*[!0-9]*) n=3 ;; esac
while [ "$n" -gt 0 ]; do
  echo "countdown: $n"
  n=$((n - 1))
  sleep 1
done
echo "countdown: lift-off"
exit 3
