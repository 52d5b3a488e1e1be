#!/bin/sh
# `kerna dst` against the system's time-zone database: for zones whose rules the daylight-saving
# manager can express, the UTC instants of every start and end over a range of years must equal
# the transitions zdump reports. Usage: dst_vs_zdump.sh <kerna>. Skips (77) without zdump or
# without the zones.
kerna=$1
command -v zdump >/dev/null 2>&1 || { echo "zdump not installed"; exit 77; }
tmp=$(mktemp -d) || exit 1
trap 'rm -rf "$tmp"' EXIT
status=0

# zone, first year, last year, start rule, end rule, offset
check() {
    zone=$1 first=$2 last=$3
    [ -e "/usr/share/zoneinfo/$zone" ] || { echo "no zone $zone"; exit 77; }
    "$kerna" dst -s "$4" -e "$5" -z "$6" -y "$first-$last" >"$tmp/kerna.txt" || { status=1; return; }
    awk 'NR > 2 { print "start " $4 " " $5; print "end " $8 " " $9 }' "$tmp/kerna.txt" |
        sort >"$tmp/kerna.list"
    # A transition is the second line of each pair zdump prints (the first ends at :59:59).
    zdump -v -c "$first,$((last + 1))" "$zone" | awk '
        BEGIN { split("Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec", m, " ")
                for (i = 1; i <= 12; i++) month[m[i]] = i }
        $NF ~ /^gmtoff=/ && $5 !~ /:59$/ {
            printf "%s %04d-%02d-%02d %s\n", ($(NF - 1) == "isdst=1" ? "start" : "end"),
                   $6, month[$3], $4, $5 }' | sort >"$tmp/zdump.list"
    if cmp -s "$tmp/kerna.list" "$tmp/zdump.list"; then
        echo "ok   $zone $first-$last: $(wc -l <"$tmp/kerna.list") instants"
    else
        echo "FAIL $zone $first-$last"
        diff "$tmp/kerna.list" "$tmp/zdump.list" | head -20
        status=1
    fi
}

check America/New_York 2007 2037 3,0,2,2,0 11,0,1,2,0 -05:00
check Europe/Berlin 1996 2037 3,0,-1,2,0 10,0,-1,3,0 +01:00
check Australia/Sydney 2008 2037 10,0,1,2,0 4,0,1,3,0 +10:00
check Pacific/Auckland 2008 2037 9,0,-1,2,0 4,0,1,3,0 +12:00
exit $status
