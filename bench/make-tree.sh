#!/usr/bin/env bash
# bench/make-tree.sh DIR [FILES]: a plain folder of FILES small source files (default 80,000),
# 200 to a folder, in a few languages, 10 to 60 lines each.
set -euo pipefail
dir=$1
files=${2:-80000}
mkdir -p "$dir"
perl -e '
    my ($dir, $files) = @ARGV;
    my @ext = qw(c h py js ts go rs md txt json);
    for my $i (0 .. $files - 1) {
        my $folder = sprintf("%s/pkg%03d/mod%02d", $dir, int($i / 2000), int($i / 200) % 10);
        mkdir "$dir/" . sprintf("pkg%03d", int($i / 2000));
        mkdir $folder;
        open(my $out, ">", sprintf("%s/file%d.%s", $folder, $i, $ext[$i % @ext])) or die $!;
        print $out "line $_ of file $i with some words to read\n" for 1 .. 10 + $i % 51;
        close $out;
    }' "$dir" "$files"
