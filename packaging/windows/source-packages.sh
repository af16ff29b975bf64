# SPDX-License-Identifier: Apache-2.0
# Debian's source packages, for the scripts beside this one, which read it by "source". $work is a folder for what is
# fetched.

# The version of a package that is installed, or would be.
version() {
    apt-cache policy "$1" | awk '/Installed:/ && $2 != "(none)" { print $2; found = 1 } /Candidate:/ && !found { print $2 }' |
        head -n 1
}

# Its version without what Debian added.
upstream() { local v=${1#*:}; echo "${v%%[+-]*}"; }

# Source packages come from wherever this machine's packages come from; its own list of sources stays as it is.
apt_for_sources() {
    mkdir -p "$work/apt/sources.list.d" "$work/apt/lists/partial" "$work/download"
    local file
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ -f "$file" ] || continue
        sed -n 's/^deb\(-src\)\{0,1\}[[:space:]]/deb-src /p' "$file" |
            sort -u >"$work/apt/sources.list.d/$(basename "$file" .list).list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [ -f "$file" ] || continue
        sed 's/^Types:.*/Types: deb-src/' "$file" >"$work/apt/sources.list.d/$(basename "$file")"
    done
    cat >"$work/apt/apt.conf" <<CONF
Dir::Etc::SourceList "/dev/null";
Dir::Etc::SourceParts "$work/apt/sources.list.d";
Dir::State::Lists "$work/apt/lists";
Dir::Cache::pkgcache "";
Dir::Cache::srcpkgcache "";
CONF
    [ "$(id -u)" -ne 0 ] || echo 'APT::Sandbox::User "root";' >>"$work/apt/apt.conf"
    APT_CONFIG=$work/apt/apt.conf apt-get update
}

# fetch SOURCE VERSION
fetch() { (cd "$work/download" && APT_CONFIG=$work/apt/apt.conf apt-get source --download-only "$1=$2"); }
