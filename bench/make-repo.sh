#!/usr/bin/env bash
# bench/make-repo.sh DIR [FILES] [COMMITS]: a git repository with a long history, made with
# git fast-import: FILES files (default 20,000) added in the first commit, then COMMITS commits
# (default 8,000) that each edit 6 files, and a few uncommitted edits and untracked files.
set -euo pipefail
dir=$1
files=${2:-20000}
commits=${3:-8000}
git init -q -b main "$dir"
perl -e '
    my ($files, $commits) = @ARGV;
    my @ext = qw(c h py js ts go rs md);
    my $time = 1600000000;
    sub path { my $i = shift; sprintf("src/pkg%02d/mod%02d/file%d.%s", $i / 1000, ($i / 100) % 10, $i, $ext[$i % @ext]) }
    sub blob { my ($i, $rev) = @_; join("", map { "line $_ of $i at $rev\n" } 1 .. 20 + ($i + $rev) % 40) }
    sub commit {
        my ($n, @changes) = @_;
        $time += 3600;
        my $message = "commit $n";
        printf "commit refs/heads/main\ncommitter Bench <bench\@example.com> %d +0000\ndata %d\n%s\n", $time, length($message), $message;
        for my $c (@changes) { my $d = blob(@$c); printf "M 100644 inline %s\ndata %d\n%s\n", path($c->[0]), length($d), $d }
    }
    commit(0, map { [$_, 0] } 0 .. $files - 1);
    srand(7);
    commit($_, map { [int(rand($files)), $_] } 1 .. 6) for 1 .. $commits;
' "$files" "$commits" | git -C "$dir" fast-import --quiet
git -C "$dir" checkout -q main
for i in 1 2 3; do echo "edit" >> "$dir/$(git -C "$dir" ls-files | sed -n "${i}00p")"; echo new > "$dir/untracked$i.txt"; done
