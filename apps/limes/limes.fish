# Completion of limes in fish: commands and options as the program's own help lists them, values of
# options, and quantities of a store.
function __limes_words
    string match -v -- '-*' (commandline -opc)[2..-1]
end

function __limes_commands
    limes --help 2>/dev/null | string match -rg '^  ([a-z]+) +(\S.*)$' | while read -l name
        read -l help
        printf '%s\t%s\n' $name $help
    end
end

function __limes_options
    limes (__limes_words)[1] --help 2>/dev/null | string match -rg '(--[a-z][a-z0-9-]*)' | sort -u
end

function __limes_quantities
    limes show (__limes_words)[2] --json 2>/dev/null | string match -rg '^\{"name":"([^"]*)"' | sort -u
end

complete -c limes -f -n 'not count (__limes_words) >/dev/null' -a '(__limes_commands)'
complete -c limes -n 'string match -q -- "-*" (commandline -ct)' -a '(__limes_options)'
complete -c limes -f -n 'test (count (__limes_words)) -eq 2; and test (__limes_words)[1] = plot' -a '(__limes_quantities)'
function __limes_variants
    limes show (__limes_words)[2] --json 2>/dev/null | string match -rg '"variant":"([^"]*)"' | sort -u
end

complete -c limes -f -l variant -x -a '(__limes_variants)'
complete -c limes -f -l sides -x -a 'upper lower both'
complete -c limes -f -l to -x -a 'csv text curve pairs array uff npy hdf5'
