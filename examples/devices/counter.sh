#!/bin/sh
# An SPI counter: each transfer returns the number of transfers before it in all of its bytes.
count=0
while read -r request; do
    case $request in
        *'"do":"hello"'*) echo '{"version": 1}' ;;
        *'"do":"exchange"'*)
            sent=${request#*[} sent=${sent%]*} # the numbers between the brackets
            echo "{\"bytes\": [$(echo "$sent" | sed "s/[0-9]\+/$count/g")]}"
            count=$(((count + 1) % 256)) ;;
        *) count=0; echo '{"ack": true}' ;; # power_cycle, reset
    esac
done
