# Shared by the Windows build and test scripts (sourced, not run).
# The Windows Qt is kept here, outside the repository, from one run to the next.
ORVANE_WINDOWS_CACHE=${ORVANE_WINDOWS_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/orvane-translator/windows}
# Wine 8 from Debian, without its debug chatter.
WINE=/usr/lib/wine/wine64
WINESERVER=/usr/lib/wine/wineserver
export WINEDEBUG=-all
# The MinGW runtime DLLs (libstdc++, libgcc, winpthread) that Windows programs built here load.
MINGW_RUNTIME_DIRS=(/usr/lib/gcc/x86_64-w64-mingw32/12-posix /usr/x86_64-w64-mingw32/lib)

# Folders as Windows programs under Wine name them (Z: is the Linux root), ';'-separated as
# WINEPATH and QT_PLUGIN_PATH take them.
wine_folders() {
    local IFS=';' folders=() folder
    for folder in "$@"; do folders+=("Z:${folder//\//\\}"); done
    echo "${folders[*]}"
}
