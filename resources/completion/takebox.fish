# fish completion for takebox
complete -c takebox -f
complete -c takebox -s h -l help -d 'Show the options'
complete -c takebox -s v -l version -d 'Show the version'
complete -c takebox -l virtual-deck -r -F -a 'ntsc pal' -d 'Add a virtual deck'
complete -c takebox -l headless -d 'Run without windows'
complete -c takebox -l control-port -x -d 'TCP port of the remote control'
complete -c takebox -l record -x -d 'Record every device once, so many seconds'
complete -c takebox -l to -x -a '(__fish_complete_directories)' -d 'Folder for --record and --diagnose'
complete -c takebox -l remote -x -a '(__fish_print_hostnames)' -d 'Send one command to a recorder'
complete -c takebox -l discover -d 'List the recorders on the network'
complete -c takebox -l check-playout -x -a '(__fish_print_hostnames)' -d 'Ask a playout system'
complete -c takebox -l recover -r -F -d 'Make a complete movie of one that was cut off'
complete -c takebox -l diagnose -d 'Tell what is found on this machine'
