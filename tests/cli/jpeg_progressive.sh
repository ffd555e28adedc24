# Progressive JPEG, optimal tables, scan scripts and transcoding, beside the peer's programs where they are installed.
# $1 is zmc.
. "$(dirname "$0")/support/common.sh"

picture 131 77 >odd.ppm
expect 0 "$zmc" encode odd.ppm plain.jpg
expect 0 "$zmc" decode plain.jpg plain.ppm
close odd.ppm plain.ppm 110 250

# The same coefficients in every coding.
cat >deep.txt <<'S'
# DC first
0,1,2: 0-0, 0, 1;
0: 1-9, 0, 2 ; 0: 10-63, 0, 2;   # luminance in two bands
2: 1-63, 0, 1; 1: 1-63, 0, 0;
0: 1-63, 2, 1;
0 1 2: 0-0, 1, 0;
2: 1-63, 1, 0;
0: 1-63, 1, 0
S
printf '0; 1,2;' >apart.txt
for options in --optimize --progressive "--scans deep.txt" "--scans apart.txt" "--restart 4 --progressive"; do
  expect 0 "$zmc" encode odd.ppm coded.jpg $options
  expect 0 "$zmc" decode coded.jpg coded.ppm
  same plain.ppm coded.ppm
  expect 0 "$zmc" transcode coded.jpg back.jpg
  expect 0 "$zmc" decode back.jpg back.ppm
  same plain.ppm back.ppm
done
expect 0 "$zmc" transcode coded.jpg restarts.jpg --baseline
expect 0 "$zmc" info restarts.jpg
grep -q 'a restart every 4 MCUs' out.txt || fail "transcode has lost the restarts"
expect 0 "$zmc" encode odd.ppm best.jpg --optimize
[ "$(wc -c <best.jpg)" -lt "$(wc -c <plain.jpg)" ] || fail "--optimize does not pay"
expect 0 "$zmc" encode odd.ppm ten.jpg --progressive
expect 0 "$zmc" info ten.jpg
grep -q '^  scan 10: .*bits 1-0' out.txt || fail "not ten scans"
expect 0 "$zmc" encode odd.ppm six.jpg --progressive --sampling grey
expect 0 "$zmc" info six.jpg
[ "$(grep -c '^  scan ' out.txt)" = 6 ] || fail "not six scans"

# A file cut between its scans shows what has arrived.
expect 0 "$zmc" decode ten.jpg full.ppm
head -c "$(($(wc -c <ten.jpg) / 2))" ten.jpg >half.jpg
expect 1 "$zmc" decode half.jpg half.ppm
close full.ppm half.ppm 160 900

if command -v jpegtran >/dev/null && command -v cjpeg >/dev/null; then
  for options in "" "-sample 1x1" "-sample 2x1" "-grayscale" "-restart 1"; do
    cjpeg -quality 83 $options odd.ppm >peer.jpg
    for coding in "" -optimize -progressive; do
      jpegtran -copy all $coding peer.jpg >expected.jpg
      expect 0 "$zmc" transcode peer.jpg ours.jpg ${coding:+-$coding}
      djpeg -outfile expected.ppm expected.jpg
      djpeg -outfile ours.ppm ours.jpg
      same expected.ppm ours.ppm
      # Restarts apart (the peer counts them in rows): the same bytes.
      [ "$options" = "-restart 1" ] || same expected.jpg ours.jpg
    done
  done
fi

echo '0: 1-63, 0, 0; 0: 0-0, 0, 0;' >disorder.txt
echo '0: 0-0, 0, 1; 0: 0-0, 0, 0;' >twice.txt
echo '0,1: 0-0' >broken.txt
: >empty.txt
echo '0,1,2,3;' >many.txt
for script in disorder twice broken empty many; do
  expect 1 "$zmc" encode odd.ppm bad.jpg --scans $script.txt
done
[ ! -e bad.jpg ] || fail "a file from a bad script"
expect 2 "$zmc" transcode plain.jpg x.jpg --progressive --baseline
expect 2 "$zmc" transcode plain.jpg x.png
