#!/bin/sh
# plug-log.sh LEVEL - passes what an agent logs (its standard error with -d, here on standard input) on to the system's
# log: the lines of LEVEL, error, info or debug, and worse. Secrets are masked, a repeated line is passed on once a
# minute, and of the others no more than $PLUG_LOG_RATE a second. Where a line has a cause that it does not name, a hint
# follows it. plug-supervisor.sh runs it beside each agent; it ends with it. Plain sh: BusyBox runs it.

# Each may be set in /etc/default/plug.
PLUG_LOG_RATE=10 # lines a second
log_agent() { logger -t plug -p "daemon.$1" -- "$2" 2>/dev/null || echo "plug: $2" >&2; } # PRIORITY TEXT
DEFAULTS=${PLUG_DEFAULTS:-/etc/default/plug}
# shellcheck source=/dev/null
[ ! -r "$DEFAULTS" ] || . "$DEFAULTS"

case ${1:-} in
error) admitted=' ERR ' ;;
info) admitted=' ERR WARN NOTICE INFO ' ;;
debug) admitted=' ERR WARN NOTICE INFO DEBUG ' ;;
*)
    echo "usage: plug-log.sh error|info|debug" >&2
    exit 2
    ;;
esac

escape=$(printf '\033')
tab=$(printf '\t')

# ---- Secrets ----

# What follows a name that ends a secret's name: in quotes, or up to the next comma, blank or bracket.
value_masks=
for word in '[Pp][Ii][Nn]' '[Kk][Ee][Yy]' '[Tt][Oo][Kk][Ee][Nn]' '[Pp][Aa][Ss][Ss][A-Za-z]*' '[Pp][Ww][Dd]' '[Pp][Ss][Kk]' \
    '[Ss][Ee][Cc][Rr][Ee][Tt]'; do
    name="${word}[0-9]*\"\\{0,1\\}[ $tab]*[:=][ $tab]*"
    value_masks="$value_masks
s/\\($name\\)\"[^\"]*\"/\\1\"***\"/g
s/\\($name\\)[^\" $tab,}&][^ $tab,}&]*/\\1***/g"
done

# Replaces $1 in `text`.
mask_word() {
    rest=$text text=
    while :; do
        case $rest in
        *"$1"*) text="$text${rest%%"$1"*}***" rest=${rest#*"$1"} ;;
        *) break ;;
        esac
    done
    text=$text$rest
}

# Masks the secrets in `text`: the agent's own wherever they stand, others by the names before them.
mask() {
    [ -z "$pin" ] || mask_word "$pin"
    [ -z "$key" ] || mask_word "$key"
    case $text in
    'Not find Key='*) ;; # the name of a setting that is missing
    *[Pp][Ii][Nn]* | *[Kk][Ee][Yy]* | *[Tt][Oo][Kk][Ee][Nn]* | *[Pp][Aa][Ss][Ss]* | *[Pp][Ww][Dd]* | *[Pp][Ss][Kk]* | *[Ss][Ee][Cc][Rr][Ee][Tt]* | *://*@*)
        # An escaped quotation mark would look like the end of a value.
        text=$(printf '%s\n' "$text" | sed -e 's/\\"/ /g' -e 's#://[^/@ ]*@#://***@#g' -e "$value_masks")
        ;;
    esac
}

# ---- Passing on ----

pin='' key='' stamp='' second='' minute='' level='' passed='' login=''
sent=0 left_out=0 repeated=0
newline='
'

# Says what has not been passed on, before the next line is.
account() {
    [ "$left_out" -eq 0 ] || log_agent notice "$left_out lines left out: more than $PLUG_LOG_RATE in a second"
    [ "$repeated" -eq 0 ] || log_agent notice "$repeated lines repeated earlier ones"
    left_out=0 repeated=0
}

pass() { # PRIORITY TEXT
    [ "$second" = "$stamp" ] || sent=0 second=$stamp
    if [ "$minute" != "${stamp%:*}" ]; then
        account
        minute=${stamp%:*} passed=$newline
    fi
    case $passed in *"$newline$1 $2$newline"*)
        repeated=$((repeated + 1))
        return
        ;;
    esac
    if [ "$sent" -ge "$PLUG_LOG_RATE" ]; then
        left_out=$((left_out + 1))
        return
    fi
    [ "$left_out" -eq 0 ] || account
    sent=$((sent + 1)) passed=$passed$1\ $2$newline
    log_agent "$1" "$2"
}

# What a line that is logged as an error means for who operates the router.
hint() { # TEXT
    case $1 in
    'regist ack error' | 'register ack error') pass err "hint: the answer cannot be decrypted: is KEY the platform's?" ;;
    'Register failed.') pass err "hint: the platform takes the connection and does not answer: does it know this PIN, and is KEY the platform's?" ;;
    'Login ServerInit error') pass err "hint: no login server at $login; if that is no address of the platform, the answer cannot be decrypted: is KEY the platform's?" ;;
    'connect failed!......') pass err "hint: the platform cannot be reached: see SERVER1, SERVER2 and PORT" ;;
    'Can not fopen('*) pass err "hint: no configuration: see -f in PLUG_OPTIONS" ;;
    'ERROR: get sn failed!'* | 'ERROR: SN is invalid!'*) pass err "hint: the router library has no serial number; that for Linux takes \"serial\" of /etc/plug/router.conf" ;;
    'ERROR: PIN is empty'* | 'ERROR: KEY is empty'*) pass err "hint: \"plug --check -f FILE\" says what the agent takes of the file" ;;
    esac
}

while IFS= read -r line; do
    text=$line
    case $line in
    [0-9]*' ['*"]${escape}["*']-> '*)
        stamp=${line%% \[*}
        level=${line#* \[} level=${level%%\]*}
        text=${line#*\]-> } text=${text#*m"$escape"\[*m}
        ;;
    '' | "$escape"*) continue ;; # between two messages
    esac
    text=${text%"$escape"*}
    case $text in
    "PIN:$tab"?*) pin=${text#*"$tab"} ;;
    "KEY:$tab"?*) key=${text#*"$tab"} ;;
    'quit regist,start login '*) login=${text##* } ;;
    esac
    case $admitted in *" $level "*) ;; *) continue ;; esac
    bare=$text
    mask
    case $level in
    ERR) pass err "$text"; hint "$bare" ;;
    WARN) pass warning "$text" ;;
    NOTICE) pass notice "$text" ;;
    INFO) pass info "$text" ;;
    *) pass debug "$text" ;;
    esac
done
account
