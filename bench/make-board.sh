#!/usr/bin/env bash
# bench/make-board.sh FILE [MEGABYTES]: a board-like S-expression file of about MEGABYTES (default 10):
# footprints with pads, track segments and vias, and a zone with a long outline.
set -euo pipefail
perl -e '
    my $target = $ARGV[0] * 1024 * 1024;
    my $out = "(kicad_pcb (version 20221018) (generator pcbnew)\n  (layers (0 \"F.Cu\" signal) (31 \"B.Cu\" signal))\n";
    my $i = 0;
    while (length($out) < $target) {
        my ($x, $y) = (($i * 7) % 300 + 0.25, ($i * 13) % 200 + 0.5);
        $out .= "  (footprint \"Resistor_SMD:R_0603_1608Metric\" (layer \"F.Cu\") (at $x $y 90)\n"
              . "    (property \"Reference\" \"R$i\" (at 0 -1.43 90) (layer \"F.SilkS\") (effects (font (size 1 1) (thickness 0.15))))\n"
              . "    (pad \"1\" smd roundrect (at -0.7875 0 90) (size 0.875 0.95) (layers \"F.Cu\" \"F.Paste\" \"F.Mask\") (roundrect_rratio 0.25) (net 1 \"GND\"))\n"
              . "    (pad \"2\" smd roundrect (at 0.7875 0 90) (size 0.875 0.95) (layers \"F.Cu\" \"F.Paste\" \"F.Mask\") (roundrect_rratio 0.25) (net 2 \"VCC\")))\n"
              . "  (segment (start $x $y) (end " . ($x + 2.5) . " $y) (width 0.25) (layer \"F.Cu\") (net 1) (tstamp 5e2b1c3a-$i))\n"
              . "  (via (at " . ($x + 2.5) . " $y) (size 0.8) (drill 0.4) (layers \"F.Cu\" \"B.Cu\") (net 1))\n";
        $i++;
    }
    $out .= "  (zone (net 1) (net_name \"GND\") (layer \"B.Cu\") (polygon (pts";
    $out .= " (xy " . ($_ % 300) . " " . ($_ % 200) . ")" for 1 .. 5000;
    $out .= "))))\n";
    print $out;' "${2:-10}" > "$1"
