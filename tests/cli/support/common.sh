# Shared by the tests of the command line, whose $1 is zmc: a directory to work in, which goes away, and what to expect.
set -eu
zmc=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
cd "$dir"

fail() { echo "FAILED: $*" >&2; exit 1; }

# expect STATUS COMMAND...: the exit status, and for a failure exactly one line on stderr.
expect() {
  wanted=$1; shift
  status=0; "$@" >out.txt 2>err.txt || status=$?
  [ "$status" = "$wanted" ] || fail "status $status instead of $wanted: $* ($(cat err.txt))"
  [ "$wanted" = 0 ] || [ "$(wc -l <err.txt)" = 1 ] || fail "not one line: $(cat err.txt)"
}

same() { cmp "$1" "$2" || fail "$1 and $2 differ"; }

# picture WIDTH HEIGHT: a PPM of waves, edges and some noise on stdout.
picture() {
  perl -e 'my ($w, $h) = @ARGV; my $n = 1; binmode STDOUT; print "P6\n$w $h\n255\n";
    sub clamp { my $v = int($_[0]); $v < 0 ? 0 : $v > 255 ? 255 : $v }
    for my $y (0 .. $h - 1) { for my $x (0 .. $w - 1) {
      $n = ($n * 1103515245 + 12345) % 2147483648; my $noise = ($n >> 16) % 16;
      print pack("C3", clamp(120 + 100 * sin($x / 37 + $y / 91) + $noise),
        clamp(100 + 90 * sin($x / 11 - $y / 23) + (($x >> 4) + ($y >> 4) & 1 ? 60 : 0)),
        clamp(180 * $x / $w + 60 * cos($y / 9) + $noise)); } }' "$1" "$2"
}

# far A B: the largest difference of two PPM or PGM files' samples and the mean square, "size" if their sizes differ.
far() {
  perl -e 'sub rd { local $/; open my $f, "<:raw", $_[0] or die; my $d = <$f>; my $gap = qr/(?:\s|#[^\n]*\n)+/;
      $d =~ s/^(P\d)$gap(\d+)$gap(\d+)$gap(\d+)\s//s; return ("$1 $2 $3", unpack($4 > 255 ? "n*" : "C*", $d)) }
    my @a = rd($ARGV[0]); my @b = rd($ARGV[1]); my ($most, $sum) = (0, 0);
    if ($a[0] ne $b[0] || @a != @b) { print "size\n"; exit }
    for my $i (1 .. $#a) { my $d = abs($a[$i] - $b[$i]); $most = $d if $d > $most; $sum += $d * $d }
    printf "%d %.3f\n", $most, $sum / $#a' "$1" "$2"
}

# close A B MOST MEAN_SQUARE: at most so far apart.
close() {
  distance=$(far "$1" "$2")
  echo "$distance $3 $4" | awk '{ exit !($1 != "size" && $1 <= $3 && $2 <= $4) }' || fail "$1 and $2: $distance apart"
}
