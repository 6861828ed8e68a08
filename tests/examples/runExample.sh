#!/usr/bin/env bash
# runExample.sh PROGRAM: runs the example once, in a home of its own, and looks at what it did.
set -euo pipefail
program=$1
HOME=$(mktemp -d)
trap 'rm -rf "$HOME"' EXIT
cd "$HOME"
export HOME XDG_RUNTIME_DIR=$HOME XDG_DATA_HOME=$HOME/data XDG_CONFIG_HOME=$HOME/config
echo leak:libqoffscreen >suppressions # Qt's own
export LSAN_OPTIONS=suppressions=$HOME/suppressions:print_suppressions=0

run() { "$program" "$@" 2>messages || { status=$?; cat messages; return "$status"; }; }
fails_with() { # STATUS ARGUMENT...
    local status=0
    run "${@:2}" || status=$?
    [ "$status" -eq "$1" ]
}
says() { grep -qF -- "$1" messages || { cat messages; return 1; }; }
sign() { openssl dgst "$1" -sign key.pem "${@:2}" -out signature file; } # DIGEST OPTION...

seq 30000 >file
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out key.pem 2>/dev/null
openssl pkey -in key.pem -pubout -out public.pem
tr 5 6 <file >changed

case $(basename "$program") in
    background-save)
        echo old >saved
        run saved 3
        [ "$(stat -c %s saved)" -eq $((3 << 20)) ] && [ -z "$(ls saved.new* 2>/dev/null)" ]
        ;;
    capture)
        sign -sha1
        run stored signature public.pem cat file
        cmp stored file
        fails_with 1 never signature public.pem cat changed
        says "does not match" && [ ! -e never ]
        ;;
    copy-tree)
        mkdir -p tree/inner target
        ln file tree/inner/file
        run tree target
        diff -r tree target/tree
        ;;
    file-jobs)
        mkdir -p folder/inner
        cp file changed folder
        run --demo picture.png folder
        [ -s picture.png ] && cmp file folder/file && [ ! -e "folder copies" ]
        ;;
    follow-log)
        run file 999 0 >lines
        grep 999 file | cmp - lines
        ;;
    inbox)
        mkdir pictures
        echo taken >pictures/file
        run --demo pictures/genuine.png file
        cmp file "pictures/file (2)"
        run --demo pictures/damaged.png --damaged file
        [ "$(ls pictures)" = "$(printf '%s\n' damaged.png file 'file (2)' genuine.png)" ]
        mv file 'nul%' # without the sign it is a device
        run --demo pictures/named.png 'nul%'
        cmp 'nul%' pictures/Message.txt
        ;;
    log-on-once)
        printf '%s\n' 'ann secret report' 'ann secret backup' 'ann changed report' | run >served
        diff served - <<'END'
report: ann logged on
backup: ann logged on already
report: ann logged on anew: another password
END
        ;;
    notes)
        name=$(run add "Buy milk")
        [ "$(run list)" = "$name: Buy milk" ]
        run remove "$name"
        fails_with 1 remove ../../file
        [ -z "$(run list)" ] && [ "$(run undo)" = "$name" ] && [ "$(run list)" = "$name: Buy milk" ]
        ;;
    pin-publisher)
        openssl req -x509 -newkey rsa:2048 -nodes -keyout root.key -subj /CN=root -out root.crt 2>/dev/null
        openssl ecparam -name prime256v1 -genkey -noout -out key.pem
        openssl req -new -key key.pem -subj /CN=publisher -out request
        echo extendedKeyUsage=codeSigning >usage
        openssl x509 -req -in request -CA root.crt -CAkey root.key -CAcreateserial -extfile usage \
            -out publisher.crt 2>/dev/null
        sign -sha256
        pin=$(openssl pkey -in key.pem -pubout -outform DER | sha256sum | cut -d ' ' -f 1)
        run root.crt publisher.crt file signature "$pin" | cmp - file
        fails_with 1 root.crt publisher.crt file signature "${pin//[0-9]/a}"
        fails_with 1 root.crt publisher.crt changed signature "$pin"
        ;;
    producer-and-readers)
        run <file | cmp - file
        says "30000 lines"
        ;;
    receive-download)
        run file received
        cmp file received
        fails_with 1 file never damaged
        says "NOT genuine" && [ ! -e never ]
        ;;
    sign-release)
        echo passphrase >word
        run release.pem word file signature >pin
        openssl pkeyutl -verify -pubin -inkey release.pem.pub -rawin -in file -sigfile signature
        openssl pkey -pubin -in release.pem.pub -outform DER | sha256sum | grep -qf pin
        ;;
    verify-download)
        sign -sha256 -sigopt rsa_padding_mode:pss -sigopt rsa_pss_saltlen:-1
        run file signature public.pem
        says genuine
        fails_with 1 changed signature public.pem
        fails_with 2 file signature missing.pem
        ;;
    *) echo "$0: nothing is known of this example" && exit 1 ;;
esac
