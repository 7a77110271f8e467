# Completion of ketmon's command line, for bash. Commands and options are taken from what `ketmon --help` says at
# that moment; what follows an option is told by the word that stands for its value there.

# _ketmon_help PROGRAM [COMMAND]: reads the help into these, which belong to _ketmon.
#     commands   names
#     options    names, short and long
#     value_of   by option: the word for its value, and whatever follows; empty for a flag
#     arguments  words for the arguments, in their order; "..." behind one that may be repeated
_ketmon_help() {
    # Descriptions are indented further. Several blanks stand in front of one, a single one in front of a value.
    local option='^ {1,12}((-[[:alnum:]]),? *)?(--[[:alnum:]-]+)( ([^ ].*))?( {2,}.*)?$'
    local other='^ {1,4}([[:alnum:]_-]+)( .*)?$'
    local line part='' short long value
    commands=() options=() value_of=() arguments=()
    while IFS= read -r line; do
        if [[ $line =~ ^([[:alpha:]]+):$ ]]; then
            part=${line,,}
        elif [[ $line =~ $option ]]; then
            short=${BASH_REMATCH[2]} long=${BASH_REMATCH[3]} value=${BASH_REMATCH[5]}
            # What a flag goes with is no value.
            [[ ! $value =~ ^(Needs|Excludes): ]] || value=''
            options+=(${short:+"$short"} "$long")
            value_of[$long]=$value
            [[ -z $short ]] || value_of[$short]=$value
        elif [[ $line =~ $other ]]; then
            case $part in
            subcommands:) commands+=("${BASH_REMATCH[1]}") ;;
            positionals:)
                arguments+=("${BASH_REMATCH[1]}")
                [[ ${BASH_REMATCH[2]} != *' ... '* ]] || arguments+=(...)
                ;;
            esac
        fi
    done < <("$@" --help 2>/dev/null </dev/null)
}

# _ketmon_offer WORD...: offers those that go on from what was typed.
_ketmon_offer() {
    local word
    for word; do
        [[ $word != "$typed"* ]] || COMPREPLY+=("$before$word")
    done
}

# Offers names of files, without the quotes that may have been typed: readline sets those anew.
_ketmon_offer_files() {
    local file plain=${typed//[\\\'\"]/}
    while IFS= read -r file; do
        COMPREPLY+=("$before$file")
    done < <(compgen -f -- "$plain")
    # For directories and blanks; and where nothing was found, as behind a tilde, readline looks itself.
    compopt -o filenames 2>/dev/null
    [[ ${#COMPREPLY[@]} -gt 0 ]] || compopt -o default 2>/dev/null
}

# _ketmon_offer_values OPTION WORD: values for an option, or for an argument, where the help has that word for them.
_ketmon_offer_values() {
    local word=${2%% *} line
    case $1:$word in
    *{*}*)
        word=${word#*\{} word=${word%%\}*}
        _ketmon_offer ${word//,/ }
        ;;
    --socket-mode:*) _ketmon_offer 600 660 666 ;;
    --enable:*) _ketmon_offer none 1.{1..9} 2.{1..7} ;;
    --rows:*)
        _ketmon_offer standard {all,stations,protocols,{mac,ip,ipv6}_traffic,arp,{ip,ipv6}_protocols}= \
            {{,station_,ipv6_}{tcp,udp}_ports,{,inner_}vlans,neighbours}=
        compopt -o nospace 2>/dev/null
        ;;
    --select:*)
        _ketmon_offer frame_types frame_sizes stations protocols mac_traffic ip_traffic arp ip_protocols tcp_ports \
            udp_ports ipv6_traffic ipv6_protocols ipv6_ports ipv6_tcp_ports ipv6_udp_ports vlans inner_vlans neighbours \
            tunnels signals totals errors filter frame_tables ports
        # Rows, which have a star, can't be selected.
        while read -r line _; do
            [[ $line != [0-9]* || $line == *'*'* ]] || _ketmon_offer "$line"
        done < <("$program" schema 2>/dev/null </dev/null)
        ;;
    --sort:*)
        _ketmon_offer frames bytes frames_sent bytes_sent frames_received bytes_received share average_frame_bytes \
            frames_per_second bits_per_second address source destination protocol port vlan
        ;;
    *:FILE* | *:OUT*) _ketmon_offer_files ;;
    *:INTERFACE*)
        _ketmon_offer any
        # Those whose frames can't be counted can't be captured on. The first line is the heading.
        while read -r line _; do
            _ketmon_offer "$line"
        done < <("$program" interfaces 2>/dev/null </dev/null | sed -e 1d -e "/can't be counted/d")
        ;;
    esac
}

_ketmon() {
    local program=${1/#\~\//$HOME/}
    local -a commands options arguments words=()
    local -A value_of
    local IFS=$' \t\n' before='' typed last='' i
    COMPREPLY=()

    # Readline cuts words at "=" and ":", depending on COMP_WORDBREAKS. Here they are whole again; what it takes an
    # answer for is only the last piece.
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        last=${COMP_WORDS[i]}
        if [[ ${#words[@]} -gt 0 && ($last == [=:]* || ${COMP_WORDS[i - 1]} == *[=:]) ]]; then
            words[-1]+=$last
        else
            words+=("$last")
        fi
    done
    [[ $last != *[=:] ]] || last=''
    local word=${words[-1]}
    local fixed=${word%"$last"}
    fixed=${fixed//[\\\'\"]/}
    unset 'words[-1]'

    if [[ ${#words[@]} -eq 0 ]]; then
        _ketmon_help "$program"
        typed=$word
        [[ $word != -* ]] || commands=("${options[@]}")
        _ketmon_offer "${commands[@]}"
        return
    fi
    _ketmon_help "$program" "${words[0]}"

    # What stands before the word: an option that waits for its value, and how many arguments.
    local waiting='' ended='' count=0 given
    for given in "${words[@]:1}"; do
        if [[ -n $waiting ]]; then
            waiting=''
        elif [[ -z $ended && $given == -- ]]; then
            ended=yes
        elif [[ -z $ended && $given == -?* ]]; then
            [[ -z ${value_of[$given]-} ]] || waiting=$given
        else
            ((++count))
        fi
    done

    typed=$word
    if [[ -n $waiting ]]; then
        _ketmon_offer_values "$waiting" "${value_of[$waiting]}"
    elif [[ -z $ended && $word == --*=* ]]; then
        waiting=${word%%=*}
        before=$waiting= typed=${word#*=}
        _ketmon_offer_values "$waiting" "${value_of[$waiting]-}"
    elif [[ -z $ended && $word == -* ]]; then
        _ketmon_offer "${options[@]}"
    else
        # The last argument may be one of many.
        local many=$((${#arguments[@]} - 1))
        ((many < 0 || count < many)) || [[ ${arguments[many]} != ... ]] || count=$((many - 1))
        _ketmon_offer_values '' "${arguments[count]-}"
        # Where nothing else can stand, options can.
        [[ -n ${arguments[count]-} || -n $ended ]] || _ketmon_offer "${options[@]}"
    fi
    COMPREPLY=("${COMPREPLY[@]#"$fixed"}")
}

complete -F _ketmon ketmon
