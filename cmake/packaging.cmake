# The Debian package, made by scripts/package.sh with cpack on a Release build for /usr. Its
# dependencies on libraries come from the executable through dpkg-shlibdeps; what it runs rather
# than links is named here.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME korvane)
set(CPACK_PACKAGE_VENDOR "The Korvane developers")
set(CPACK_PACKAGE_CONTACT "The Korvane developers <maintainers@users.noreply.c-seed-cf42e7a7.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "see the shape of a codebase, drawn as a 3D city")
set(CPACK_PACKAGE_DESCRIPTION [[Korvane scans a folder or Git repository and draws it as a city: every
folder a paved lot, every file a building as tall as its lines and coloured by
its language, the age of its last change, its churn or its Git status. It also
draws the folder as a tree, replays its history commit by commit, and draws
its imports as a graph. It is keyboard-first and fast on repositories of tens
of thousands of files and commits.

Its commands run without a window, for scripts and CI: scan, layout, history,
imports, search, outline and flow print summaries or JSON, and snapshot and
replay draw the city into images and videos.]])
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The window needs one of Qt's platform plugins, which libqt6gui6 only recommends, and the preview
# reads SVG, WebP and TIFF pictures through Qt's image plugins; repositories
# are read through git; snapshots on a machine without a display run under xvfb-run, and replays
# become videos through ffmpeg.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libqt6svg6, qt6-image-formats-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "git")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "xvfb, xauth, ffmpeg")
include(CPack)
