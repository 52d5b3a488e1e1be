#!/bin/sh
# Runs the kerna tool's everyday commands against coreutils (md5sum, sha1sum, base64, basenc),
# gzip's CRC-32 and the openssl command on the same generated files, and compares standard
# output byte for byte, exit statuses, and standard error with the program name adjusted.
# Usage: tool_vs_coreutils.sh /path/to/kerna. Exit 77 (skipped) without coreutils' md5sum.
[ -x "$1" ] || { echo "no kerna tool at '$1'"; exit 1; }
K="$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"
command -v md5sum >/dev/null 2>&1 && command -v sha1sum >/dev/null 2>&1 && command -v base64 >/dev/null 2>&1 \
    || { echo "coreutils md5sum, sha1sum or base64 missing: skipped"; exit 77; }

T=$(mktemp -d) || exit 1
trap 'rm -rf "$T"' EXIT INT TERM
cd "$T" || exit 1
passed=0
failed=0

# same LABEL COMMAND-A COMMAND-B: both commands' stdout, exit status and (name-adjusted) stderr.
same() {
    label=$1
    sh -c "$2" >a.out 2>a.err; a=$?
    sh -c "$3" >b.out 2>b.err; b=$?
    sed -e 's/^kerna //' -e 's/^base16: /basenc: /' a.err >a.err2
    if [ $a -eq $b ] && cmp -s a.out b.out && cmp -s a.err2 b.err; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAILED: $label (status $a vs $b)"
        echo "--- kerna:"; od -c a.out | head -5; cat a.err
        echo "--- reference:"; od -c b.out | head -5; cat b.err
    fi
}

# status LABEL EXPECTED COMMAND
status() {
    sh -c "$3" >/dev/null 2>&1; s=$?
    if [ $s -eq "$2" ]; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAILED: $1 (status $s, expected $2)"; fi
}

# Files of lengths around the block sizes, and names that need escaping or quoting.
for n in 0 1 2 3 15 16 17 55 56 57 63 64 65 100 1000 4096 65537 300000; do
    head -c $n /dev/urandom >"f$n"
done
FILES="f0 f1 f2 f3 f15 f16 f17 f55 f56 f57 f63 f64 f65 f100 f1000 f4096 f65537 f300000"
printf 'space' >'with space'
printf 'back' >'back\slash'
printf 'nl' >"$(printf 'new\nline')"
printf 'cr' >"$(printf 'car\rret')"

for tool in md5sum sha1sum; do
    same "$tool files" "$K $tool $FILES" "$tool $FILES"
    same "$tool odd names" "$K $tool 'with space' 'back\\slash' \"\$(printf 'new\\nline')\" \"\$(printf 'car\\rret')\"" \
        "$tool 'with space' 'back\\slash' \"\$(printf 'new\\nline')\" \"\$(printf 'car\\rret')\""
    same "$tool --tag" "$K $tool --tag f3 'back\\slash'" "$tool --tag f3 'back\\slash'"
    same "$tool -b" "$K $tool -b f3 f64" "$tool -b f3 f64"
    same "$tool -z" "$K $tool -z f3 \"\$(printf 'new\\nline')\"" "$tool -z f3 \"\$(printf 'new\\nline')\""
    same "$tool stdin" "$K $tool <f1000" "$tool <f1000"
    same "$tool - and missing" "$K $tool - missing f1 <f17" "$tool - missing f1 <f17"
    same "$tool directory" "$K $tool ." "$tool ."

    # Checking: a good list, then one with every kind of trouble in it.
    $tool $FILES 'with space' 'back\slash' "$(printf 'new\nline')" "$(printf 'car\rret')" >good.sums
    $tool --tag f1 f2 >>good.sums
    same "$tool -c" "$K $tool -c good.sums" "$tool -c good.sums"
    cp good.sums bad.sums
    echo "# a comment" >>bad.sums
    echo "" >>bad.sums
    echo "not a checksum line" >>bad.sums
    sed -n '5p' good.sums | sed 's/^./0/; s/^0/f/' >>bad.sums
    sed -n '3p' good.sums | sed 's/f2$/missing/' >>bad.sums
    sed -n '4p' good.sums | tr 'a-f' 'A-F' | sed 's/F3$/f3/' >>bad.sums
    printf '%s\r\n' "$(sed -n '6p' good.sums)" >>bad.sums
    for opt in "" "--quiet" "--status" "-w" "--strict" "--ignore-missing" "--quiet -w --strict" "-w --status"; do
        same "$tool -c $opt" "$K $tool -c $opt bad.sums" "$tool -c $opt bad.sums"
    done
    same "$tool -c stdin" "$K $tool -c <good.sums" "$tool -c <good.sums"
    echo "nothing here" >none.sums
    same "$tool -c none" "$K $tool -c none.sums" "$tool -c none.sums"
    same "$tool -c missing list" "$K $tool -c no.such.list" "$tool -c no.such.list"
    sed -n '3p' good.sums | sed 's/f2$/gone/' >gone.sums
    same "$tool --ignore-missing none verified" "$K $tool -c --ignore-missing gone.sums" "$tool -c --ignore-missing gone.sums"
    status "$tool bad option" 2 "$K $tool --bogus"
    status "$tool --tag with -c" 2 "$K $tool -c --tag good.sums"
    status "$tool --help" 0 "$K $tool --help"
done

# Base64 and Base16: encoding at the default width, other widths, and decoding.
for f in $FILES; do
    same "base64 $f" "$K base64 $f" "base64 $f"
    base64 "$f" >"$f.b64"
    same "base64 -d $f" "$K base64 -d $f.b64" "base64 -d $f.b64"
done
same "base64 -w 0" "$K base64 -w 0 f1000" "base64 -w 0 f1000"
same "base64 -w 10" "$K base64 -w10 f100" "base64 -w10 f100"
same "base64 stdin" "$K base64 <f65" "base64 <f65"
same "base64 -d stdin" "$K base64 -d <f65.b64" "base64 -d <f65.b64"
printf 'YWJj!ZGVm' >junk.b64
same "base64 -d junk" "$K base64 -d junk.b64" "base64 -d junk.b64"
same "base64 -d -i junk" "$K base64 -d -i junk.b64" "base64 -d -i junk.b64"
printf 'YWJ' >short.b64
same "base64 -d unpadded" "$K base64 -d short.b64" "base64 -d short.b64"
printf 'YQ==YWI=' >concat.b64
same "base64 -d concatenated" "$K base64 -d concat.b64" "base64 -d concat.b64"
status "base64 --help" 0 "$K base64 --help"
status "base64 extra operand" 2 "$K base64 f1 f2"
if command -v basenc >/dev/null 2>&1; then
    for f in f0 f1 f57 f1000 f65537; do
        same "base16 $f" "$K base16 $f" "basenc --base16 $f"
        basenc --base16 "$f" >"$f.b16"
        same "base16 -d $f" "$K base16 -d $f.b16" "basenc --base16 -d $f.b16"
    done
    printf '41424' >odd.b16
    same "base16 -d odd" "$K base16 -d odd.b16" "basenc --base16 -d odd.b16"
else
    echo "note: basenc missing; base16 not compared"
fi

# CRC-32 against the trailer of gzip's output.
if command -v gzip >/dev/null 2>&1 && command -v od >/dev/null 2>&1; then
    for f in f0 f1 f17 f1000 f300000; do
        expected=$(gzip -c <"$f" | tail -c 8 | od -An -tx4 -N4 | tr -d ' ')
        same "crc32 $f" "$K crc32 $f" "echo '$expected  $f'"
    done
else
    echo "note: gzip missing; crc32 not compared"
fi

# Ciphers against the openssl command, and their refusals.
if command -v openssl >/dev/null 2>&1; then
    K16=000102030405060708090a0b0c0d0e0f
    K24=${K16}1011121314151617
    K32=${K24}18191a1b1c1d1e1f
    IV=f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff
    for key in $K16 $K24 $K32; do
        bits=$(( ${#key} * 4 ))
        for f in f0 f16 f64 f4096 f65537; do
            case $f in f65537) modes="cfb8 cfb128 ctr" ;; *) modes="ecb cbc cfb8 cfb128 ctr" ;; esac
            for m in $modes; do
                case $m in ecb) o=ecb; iv="" ;; cfb128) o=cfb; iv="--iv $IV" ;; *) o=$m; iv="--iv $IV" ;; esac
                oiv=$(echo "$iv" | sed 's/--iv/-iv/')
                same "aes-$bits-$m $f" "$K aes -e -m $m -k $key $iv $f" "openssl enc -aes-$bits-$o -nopad -K $key $oiv -in $f"
                openssl enc "-aes-$bits-$o" -nopad -K $key $oiv -in $f -out "$f.enc" 2>/dev/null
                same "aes-$bits-$m -d $f" "$K aes -d -m $m -k $key $iv $f.enc" "cat $f"
            done
        done
    done
    same "aes stdin ctr" "$K aes -e -m ctr -k $K16 --iv $IV <f65537" "openssl enc -aes-128-ctr -nopad -K $K16 -iv $IV -in f65537"
    status "aes partial block" 1 "$K aes -e -m cbc -k $K16 --iv $IV f17"
    same "aes partial block writes nothing" "$K aes -e -m ecb -k $K16 f17 2>/dev/null; test \$? -eq 1" "true"
    status "aes partial block from a pipe" 1 "cat f17 | $K aes -e -m ecb -k $K16"
    status "aes bad key" 2 "$K aes -e -m ecb -k 0011 f16"
    status "aes no mode" 2 "$K aes -e -k $K16 f16"
    status "aes --help" 0 "$K aes --help"
    D8=0123456789abcdef
    D16=${D8}23456789abcdef01
    D24=${D16}456789abcdef0123
    DIV=1122334455667788
    for f in f0 f16 f64 f4096; do
        same "des-ede3-cbc $f" "$K des -e -m cbc -k $D24 --iv $DIV $f" "openssl enc -des-ede3-cbc -nopad -K $D24 -iv $DIV -in $f"
        same "des-ede-cbc $f" "$K des -e -m cbc -k $D16 --iv $DIV $f" "openssl enc -des-ede-cbc -nopad -K $D16 -iv $DIV -in $f"
        same "des-ede3 $f" "$K des -e -m ecb -k $D24 $f" "openssl enc -des-ede3 -nopad -K $D24 -in $f"
        openssl enc -des-ede3-cbc -nopad -K $D24 -iv $DIV -in $f -out "$f.des" 2>/dev/null
        same "des-ede3-cbc -d $f" "$K des -d -m cbc -k $D24 --iv $DIV $f.des" "cat $f"
        if openssl enc -des-cbc -provider legacy -provider default -nopad -K $D8 -iv $DIV -in f16 >/dev/null 2>&1; then
            same "des-cbc $f" "$K des -e -m cbc -k $D8 --iv $DIV $f" \
                "openssl enc -des-cbc -provider legacy -provider default -nopad -K $D8 -iv $DIV -in $f"
        fi
    done
    # The wide form round-trips over more than one buffer of the tool.
    head -c 131072 /dev/urandom >wide.in
    $K des -e -m cbc --wide -k $D24 --iv ${DIV}${DIV} wide.in >wide.enc
    same "des --wide round trip" "$K des -d -m cbc --wide -k $D24 --iv ${DIV}${DIV} wide.enc" "cat wide.in"
    status "des partial block" 1 "$K des -e -m ecb -k $D24 f17"
    status "des wide needs triple key" 2 "$K des -e -m ecb --wide -k $D8 f16"
else
    echo "note: openssl command missing; aes and des not compared"
fi

echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
