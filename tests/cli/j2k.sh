# JPEG 2000 both ways, beside the peer's programs where they are installed. $1 is zmc.
. "$(dirname "$0")/support/common.sh"

# The same picture: the peer's PNM writer adds a comment.
alike() { close "$1" "$2" 0 0; }
peer_encode() { opj_compress -i "$@" >peer.txt 2>&1 || fail "the peer does not encode: $* ($(cat peer.txt))"; }
peer_decode() { opj_decompress -i "$@" >peer.txt 2>&1 || fail "the peer does not decode: $* ($(cat peer.txt))"; }

picture 131 77 >odd.ppm
picture 67 45 >little.ppm
picture 16 16 >one.ppm
picture 1 1 >dot.ppm
expect 0 "$zmc" convert odd.ppm odd.png
perl -e 'binmode STDOUT; print "P5\n90 61\n255\n"; print pack("C", (int($_ / 7) * ($_ % 90) + $_) % 256) for 0 .. 90 * 61 - 1' >grey.pgm
perl -e 'binmode STDOUT; print "P5\n61 40\n65535\n"; print pack("n", ($_ * 977 + ($_ % 61) * ($_ % 40) * 31) % 65536) for 0 .. 61 * 40 - 1' >deep.pgm

# Our own round trips: sizes, settings, files.
for picture in odd.ppm one.ppm dot.ppm grey.pgm deep.pgm; do
  for settings in "" "--levels 0" "--levels 9" "--block 4x4" "--block 1024x4" "--tiles 50x33" "--progression RPCL --tiles 31x31 --plt --tlm"; do
    expect 0 "$zmc" encode $picture a.j2k $settings
    expect 0 "$zmc" decode a.j2k "back.${picture##*.}"
    same $picture "back.${picture##*.}"
  done
done
expect 0 "$zmc" encode odd.ppm a.jp2
expect 0 "$zmc" info a.jp2
grep -q '131 x 77' out.txt || fail "info: $(cat out.txt)"

# Lossy: the file is as large as asked for, and a higher rate is nearer; a quality is reached.
for rate in 0.5 1 2 0.25,0.5,1,2; do
  expect 0 "$zmc" encode odd.ppm a.j2k --rate $rate
  [ "$(wc -c <a.j2k)" -le "$(echo "${rate##*,}" | awk '{ print int(131 * 77 * $1 / 8) }')" ] || fail "more than --rate $rate"
  expect 0 "$zmc" decode a.j2k back.ppm
done
close odd.ppm back.ppm 255 80
expect 0 "$zmc" decode a.j2k less.ppm --layers 1
[ "$(far odd.ppm back.ppm | cut -d' ' -f2 | cut -d. -f1)" -lt "$(far odd.ppm less.ppm | cut -d' ' -f2 | cut -d. -f1)" ] || fail "a layer adds nothing"
expect 0 "$zmc" encode odd.ppm a.j2k --quality 40
expect 0 "$zmc" decode a.j2k back.ppm
close odd.ppm back.ppm 255 6.8 # 255^2 / 10^4 = 6.5

# A region is that part of the whole; a reduced picture has ceil(size / 2).
expect 0 "$zmc" encode odd.ppm a.j2k --tiles 64x64
expect 0 "$zmc" decode a.j2k part.ppm --region 30,20,50,41
perl -e 'local $/; binmode STDOUT; open my $f, "<:raw", "odd.ppm"; my $d = <$f>; $d =~ s/^P6\s131\s77\s255\s//; print "P6\n50 41\n255\n"; print substr($d, ($_ * 131 + 30) * 3, 150) for 20 .. 60' >expected.ppm
same expected.ppm part.ppm
expect 0 "$zmc" decode a.j2k small.ppm --reduce 1
head -c 8 small.ppm | grep -q '66 39' || fail "reduced to $(head -c 8 small.ppm)"

# Damage: what there is, and a report. Nothing to decode: no picture.
expect 0 "$zmc" encode odd.ppm whole.j2k --progression RLCP
size=$(wc -c <whole.j2k)
for part in 90 70 50 30 10; do
  head -c $((size * part / 100)) whole.j2k >cut.j2k
  expect 1 "$zmc" decode cut.j2k cut.ppm
  [ "$(far odd.ppm cut.ppm)" != size ] || fail "a file cut to $part % gives no picture"
done
head -c 60 whole.j2k >header.j2k
expect 1 "$zmc" decode header.j2k header.ppm
[ ! -e header.ppm ] || fail "a picture out of nothing"
expect 2 "$zmc" encode odd.ppm a.j2k --rate 1 --quality 40
expect 2 "$zmc" encode odd.ppm a.j2k --block 64x128
expect 2 "$zmc" encode odd.ppm a.j2k --style fast
expect 2 "$zmc" encode odd.ppm a.j2k --progression XYZ
expect 2 "$zmc" decode whole.j2k a.ppm --region 1,2,3
expect 1 "$zmc" decode whole.j2k a.ppm --region 500,0,3,3
expect 1 "$zmc" decode whole.j2k none.ppm --reduce 6
[ ! -e none.ppm ] || fail "a picture of a resolution that there is not"

# A JP2 file with a palette around a codestream of indices, and 10-bit samples.
expect 0 "$zmc" encode grey.pgm index.j2k
perl -e 'local $/; binmode STDOUT; open my $f, "<:raw", "index.j2k"; my $stream = <$f>;
  sub box { pack("Na4", 8 + length $_[1], $_[0]) . $_[1] }
  my $palette = pack("nC4", 256, 3, 7, 7, 7) . join("", map { pack("C3", $_, 255 - $_, $_ >> 1) } 0 .. 255);
  my $map = pack("(nCC)3", 0, 1, 2, 0, 1, 0, 0, 1, 1);
  print box("jP  ", "\r\n\x87\n"), box("ftyp", "jp2 \0\0\0\0jp2 "), box("jp2h", box("ihdr", pack("NNnC4", 61, 90, 1, 7, 7, 0, 0))
    . box("colr", pack("C3N", 1, 0, 0, 16)) . box("pclr", $palette) . box("cmap", $map)), box("jp2c", $stream)' >palette.jp2
expect 0 "$zmc" decode palette.jp2 back.ppm
perl -e 'local $/; binmode STDOUT; open my $f, "<:raw", "grey.pgm"; my $d = <$f>; $d =~ s/^P5\s90\s61\s255\s//;
  print "P6\n90 61\n255\n", map { pack("C3", $_ >> 1, $_, 255 - $_) } unpack("C*", $d)' >expected.ppm
same expected.ppm back.ppm
perl -e 'binmode STDOUT; print "P5\n61 40\n1023\n"; print pack("n", $_ * 977 % 1024) for 0 .. 61 * 40 - 1' >ten.pgm
expect 0 "$zmc" encode ten.pgm a.jp2
expect 0 "$zmc" decode a.jp2 back.pgm
same ten.pgm back.pgm

# Damaged at many places: any answer but a crash.
perl -e 'local $/; open my $f, "<:raw", "whole.j2k"; my $d = <$f>; my $n = 7;
  for my $i (1 .. 150) { my $e = $d;
    for (1 .. 1 + $i % 4) { $n = ($n * 1103515245 + 12345) % 2147483648; substr($e, ($i < 75 ? $n % 120 : ($n >> 8) % length $e), 1) = chr(($n >> 5) & 255); }
    open my $o, ">:raw", "bad$i.j2k"; print $o $e; }'
i=1
while [ $i -le 150 ]; do
  status=0; "$zmc" decode bad$i.j2k bad.ppm >out.txt 2>err.txt || status=$?
  [ $status -le 1 ] || fail "status $status on damaged file $i: $(cat err.txt)"
  i=$((i + 1))
done

command -v opj_compress >/dev/null || exit 0

# The peer's codestreams decode to the picture that they were made of.
decodes() { # PICTURE, then the peer's arguments
  picture=$1; shift
  peer_encode $picture -o peer.j2k "$@"
  expect 0 "$zmc" decode peer.j2k "back.${picture##*.}"
  alike $picture "back.${picture##*.}"
}
mode=0
while [ $mode -lt 64 ]; do
  decodes little.ppm -M $mode
  mode=$((mode + 1))
done
# Enough raw segments that some end in ones, which the peer leaves out.
for mode in 1 5 33; do decodes odd.ppm -M $mode -b 8,8; done
for order in LRCP RLCP RPCL PCRL CPRL; do
  decodes odd.ppm -p $order -r 20,5,1 -c '[32,32],[16,16]' -b 16,16 -SOP -EPH
  decodes odd.ppm -p $order -t 64,64 -TP R -b 8,32
  decodes odd.ppm -p $order -t 64,64 -TP L -r 9,1
  decodes odd.ppm -p $order -t 40,40 -d 13,7 -T 5,3 -PLT -TLM
done
decodes odd.ppm -POC T1=0,0,1,6,3,CPRL/T1=0,0,1,6,3,LRCP
# Progressions that change between layers, where the peer itself writes only some of the packets.
peer_encode odd.ppm -o peer.j2k -POC T1=0,0,1,3,3,RLCP/T1=3,0,2,6,3,LRCP/T1=0,0,2,6,3,RPCL -r 4,1
peer_decode peer.j2k -o peer.ppm
expect 0 "$zmc" decode peer.j2k back.ppm
alike peer.ppm back.ppm
decodes odd.ppm -ROI c=0,U=7
decodes odd.ppm -mct 0 -n 1
decodes dot.ppm -n 1
for picture in grey.pgm deep.pgm; do decodes $picture; done
decodes deep.pgm -GuardBits 4 -b 4,1024

# Packet headers moved out of the packets, into PPT and PPM: between SOP and EPH they can be found.
peer_encode odd.ppm -o peer.j2k -SOP -EPH -b 32,32 -r 5,1
for place in PPT PPM; do
  perl -e 'local $/; binmode STDOUT; open my $f, "<:raw", "peer.j2k"; my $d = <$f>;
    my $sot = index($d, "\xFF\x90\0\x0A"); my $main = substr($d, 0, $sot); my $part = substr($d, $sot, -2);
    my $sod = index($part, "\xFF\x93"); my ($heads, $bodies) = ("", "");
    for (split /\xFF\x91\0\x04../s, substr($part, $sod + 2)) {
      my $end = index($_, "\xFF\x92"); next if $end < 0;
      $heads .= substr($_, 0, $end + 2); $bodies .= substr($_, $end + 2) }
    sub segment { my ($marker, $bytes) = @_; "$marker" . pack("n", 2 + length $bytes) . $bytes }
    my $tail = substr($part, 12, $sod - 12); my ($a, $b) = (substr($heads, 0, 50), substr($heads, 50));
    if ($ARGV[0] eq "PPM") { $main .= segment("\xFF\x60", "\0" . pack("N", length $heads) . $a) . segment("\xFF\x60", "\1$b") }
    else { $tail .= segment("\xFF\x61", "\1$b") . segment("\xFF\x61", "\0$a") }
    print $main, "\xFF\x90\0\x0A\0\0", pack("N", 14 + length($tail) + length $bodies), "\0\1", $tail, "\xFF\x93", $bodies, "\xFF\xD9"' $place >packed.j2k
  expect 0 "$zmc" decode packed.j2k back.ppm
  alike odd.ppm back.ppm
done

# Lossy and reduced: within one grey level of what the peer decodes.
for settings in "-r 10" "-r 40,20,10 -b 32,32 -M 7" "-r 5 -t 50,33" "-r 12 -ROI c=1,U=5" "-q 30,38"; do
  # shellcheck disable=SC2086
  peer_encode odd.ppm -o peer.jp2 -I $settings
  for option in "" "-r 1" "-r 3" "-l 1"; do
    # shellcheck disable=SC2086
    peer_decode peer.jp2 -o peer.ppm $option
    option=$(echo "$option" | sed 's/-r/--reduce/;s/-l/--layers/')
    # shellcheck disable=SC2086
    expect 0 "$zmc" decode peer.jp2 back.ppm $option
    close peer.ppm back.ppm 1 1
  done
done
# Sub-sampled colour: taken for YCC, brought up by replication.
for sampling in 2x2:2x2 2x1:2x1; do
  [ $sampling = 2x2:2x2 ] && size=$((128 * 64 * 3 / 2)) || size=$((128 * 64 * 2))
  tail -c +16 odd.ppm | head -c $size >planes.raw
  peer_encode planes.raw -o peer.j2k -F 128,64,3,8,u@1x1:$sampling -mct 0
  peer_decode peer.j2k -o peer.ppm -upsample
  expect 0 "$zmc" decode peer.j2k back.ppm
  close peer.ppm back.ppm 1 1
done

# Our codestreams of every style decode there to the same picture.
for bypass in "" bypass,; do for reset in "" reset,; do for termall in "" termall,; do
  for causal in "" causal,; do for segsym in "" segsym,; do for predictable in "" predictable,; do
    style=$bypass$reset$termall$causal$segsym$predictable
    expect 0 "$zmc" encode little.ppm ours.j2k ${style:+--style "${style%,}"}
    peer_decode ours.j2k -o peer.ppm
    alike little.ppm peer.ppm
    expect 0 "$zmc" decode ours.j2k back.ppm
    same little.ppm back.ppm
    expect 0 "$zmc" encode little.ppm ours.jp2 --rate 1,3 ${style:+--style "${style%,}"}
    peer_decode ours.jp2 -o peer.ppm
    expect 0 "$zmc" decode ours.jp2 back.ppm
    close peer.ppm back.ppm 1 1
  done; done; done
done; done; done
for order in LRCP RLCP RPCL PCRL CPRL; do
  expect 0 "$zmc" encode odd.ppm ours.jp2 --progression $order --tiles 50x33 --block 32x16 --levels 3 --plt --tlm
  peer_decode ours.jp2 -o peer.ppm
  alike odd.ppm peer.ppm
done
for picture in grey.pgm deep.pgm dot.ppm; do
  expect 0 "$zmc" encode $picture ours.jp2
  peer_decode ours.jp2 -o "peer.${picture##*.}"
  alike $picture "peer.${picture##*.}"
done
