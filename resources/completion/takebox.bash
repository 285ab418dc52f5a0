# bash completion for takebox

_takebox()
{
    local cur prev words cword
    _init_completion -n : || return

    local remote_commands='version count help guid audio1 audio2 audio3 audio4 status frame elapsed
        droppedframes remain timecode devicename record stop rawcapturepath setrawcapturepath
        moviecapturepath setmoviecapturepath recname setrecname refmoviepath setrefmoviepath
        duration setduration auto setauto createselfmovie setcreateselfmovie createrefmovie
        setcreaterefmovie'

    local i host
    for ((i = 1; i < cword; i++)); do
        [[ ${words[i]} == --remote ]] || continue
        # The words behind the host are the command, and only its first one is known here.
        host=$((i + 1))
        if [[ ${words[host]} == = ]]; then # --remote=HOST are three words
            if ((cword == host)); then
                cur=
            else
                host=$((host + 1))
            fi
        fi
        if ((cword == host)); then
            _known_hosts_real -- "$cur"
        elif ((cword == host + 1)); then
            COMPREPLY=($(compgen -W "$remote_commands" -- "$cur"))
        fi
        return
    done

    case $prev in
        --to)
            _filedir -d
            return
            ;;
        --recover)
            _filedir '@(mov|ref)'
            return
            ;;
        --virtual-deck)
            COMPREPLY=($(compgen -W 'ntsc pal' -- "$cur"))
            _filedir
            return
            ;;
        --check-playout)
            _known_hosts_real -- "$cur"
            return
            ;;
        --control-port | --record)
            return
            ;;
    esac
    COMPREPLY=($(compgen -W '--help --version --virtual-deck --headless --control-port --record
        --to --remote --discover --check-playout --diagnose
        --recover' -- "$cur"))
} &&
    complete -F _takebox takebox
