# Completes in fish the program that this file is named after: velmaro or velmaro-cli.
set -l program (basename (status filename) .fish)

# The sources that this command line would have: id, a tab, label.
function __velmaro_inputs
    set -l words (commandline -opc)
    set -l given
    for index in (seq 2 (count $words))
        switch $words[$index]
            case --demo
                set -a given --demo
            case --camera-file --motion-file
                set -a given $words[$index] (string replace -r '^~/' "$HOME/" -- $words[(math $index + 1)])
        end
    end
    $words[1] --list-inputs $given 2>/dev/null
end

# The receivers that are known by name: name, a tab, what it is.
function __velmaro_receivers
    set -l words (commandline -opc)
    $words[1] --receiver list 2>/dev/null | cut -f 1,4
end

complete -c $program -f
complete -c $program -l version -d 'Print the version and exit'
complete -c $program -l help -d 'Print a summary of the options and exit'
complete -c $program -l list-inputs -d 'Print the sources and exit'
complete -c $program -l input -x -a '(__velmaro_inputs)' -d 'Choose a source'
complete -c $program -l camera-file -r -F -d 'Add a video or picture as a camera'
complete -c $program -l once -d 'Stop when the file ends'
complete -c $program -l motion-file -r -F -d 'Replay recorded headphone motion'
complete -c $program -l motion-udp -x -d 'Be headphones while angles come to this UDP port'
complete -c $program -l motion-udp-bind -x -d 'Receive them at this address'
complete -c $program -l airpods-address -x -d 'Connect to paired AirPods (experimental)'
complete -c $program -l record-motion -r -F -d "Record the headphones' motion"
complete -c $program -l demo -d 'Use the demonstration clip as the camera'
complete -c $program -l rotate -x -a '90 180 270' -d "Turn the camera's picture clockwise"
complete -c $program -l mirror -d "Exchange the left and right of the camera's picture"
complete -c $program -l ip -x -a '(__fish_print_hostnames)' -d 'Send to this host'
complete -c $program -l port -x -d 'Send to this UDP port'
complete -c $program -l osc -x -d 'Send under this OSC address'
complete -c $program -l rate -x -a '30 60' -d 'Send at most this many messages a second'
complete -c $program -l no-tilt -d 'Start with tilt off'
complete -c $program -l quaternion -d 'Send quaternions instead of angles'
complete -c $program -l receiver -x -a '(__velmaro_receivers)' -d 'Send what this receiver wants'
complete -c $program -l flip -x -a 'pan tilt roll' -d 'Turn axes of the head round'
complete -c $program -l order -x -a 'pan,tilt,roll roll,tilt,pan' -d 'Send the angles in this order'
complete -c $program -l radians -d 'Send radians instead of degrees'
complete -c $program -l split -d 'Send each angle on its own'
complete -c $program -l also -x -d 'Send the same to this receiver too'
complete -c $program -l control-port -x -d 'Take requests by OSC at this UDP port'
complete -c $program -l control-bind -x -d 'Take them at this address'
complete -c $program -l allow-idle -d 'Let the screen dim while tracking'
complete -c $program -l config -r -F -d 'Take what is kept from this file'
complete -c $program -l no-config -d 'Begin without what is kept'
complete -c $program -l save -d 'Keep these options'
complete -c $program -l forget-pose -d 'Remove the stored zero pose of the headphones'
complete -c $program -l quiet -d 'Leave out the lines of every frame'
complete -c $program -l start -d 'Start tracking at once'
if test $program = velmaro-cli
    complete -c $program -l duration -x -d 'Stop after this time'
    complete -c $program -l stats -d 'Print frames, datagrams, delay and cost once a second'
end
