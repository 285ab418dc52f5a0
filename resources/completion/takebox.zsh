#compdef takebox
# zsh completion for takebox

_arguments \
    '(- *)'{-h,--help}'[show the options]' \
    '(- *)'{-v,--version}'[show the version]' \
    '*--virtual-deck[add a virtual deck]:ntsc, pal or a file of DV frames:_files' \
    '--headless[run without windows]' \
    '--control-port[TCP port of the remote control]:port' \
    '--record[record every device once]:seconds' \
    '--to[folder for --record and --diagnose]:folder:_directories' \
    '--remote[send one command to a recorder]:host:_hosts:*:command' \
    '--discover[list the recorders on the network]' \
    '--check-playout[tell whether a playout system answers]:address:_hosts' \
    '*--recover[make whole what was cut off]:movie:_files -g "*.(mov|ref)"' \
    '--diagnose[tell what is found on this machine]'
