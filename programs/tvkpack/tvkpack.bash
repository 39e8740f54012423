complete -o default -o nospace -C 'tvkpack --tvk-complete' tvkpack
