# Sourced by the device's fake platform programs. Records the call as one
# line of STATE/calls/NAME.log: a JSON array of the arguments, so that an
# empty argument or one with blanks can be told apart from none.
PEMO_SIM=/run/pemo-sim
FAKE_NAME=${FAKE_NAME:-${0##*/}}

fake_json_string() {
  local s=$1
  s=${s//\\/\\\\}
  s=${s//\"/\\\"}
  s=${s//$'\n'/\\n}
  s=${s//$'\r'/\\r}
  s=${s//$'\t'/\\t}
  printf -v "$2" '"%s"' "$s"
}

fake_record() {
  local line="[" sep="" a quoted
  for a in "$@"; do
    fake_json_string "$a" quoted
    line+="$sep$quoted"
    sep=", "
  done
  printf '%s]\n' "$line" >> "$PEMO_SIM/calls/$FAKE_NAME.log"
}

# The value of option $1 among the remaining arguments ("--filename F").
fake_option() {
  local want=$1
  shift
  while [ $# -gt 1 ]; do
    [ "$1" = "$want" ] && { printf '%s' "$2"; return 0; }
    shift
  done
  return 1
}

fake_record "$@"
