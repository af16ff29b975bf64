# SPDX-License-Identifier: Apache-2.0
# A fresh Debian in a folder, for the scripts beside this one, which read it by "source". Needs root, and debootstrap.
#
# What is fetched once is kept in the user's cache: the base system of each release as an archive, and the packages that
# were installed in one.

debian_cache=${XDG_CACHE_HOME:-${HOME:-/root}/.cache}/bivista/debootstrap

# Where this machine's own packages of Debian come from.
debian_mirror() {
    local mirror
    mirror=$(apt-get indextargets --format '$(ORIGIN)|$(LABEL)|$(REPO_URI)' 2>/dev/null | sed -n 's/^Debian|Debian|//p' | head -n 1)
    if [ -z "$mirror" ]; then
        echo "This machine's apt names no mirror of Debian: apt-get update, and again." >&2
        return 1
    fi
    echo "$mirror"
}

# debian_base RELEASE: fetches the base system, if it is not in the cache.
debian_base() {
    local archive=$debian_cache/$1-minbase.tar.zst unpacked mirror
    [ ! -f "$archive" ] || return 0
    mirror=$(debian_mirror) || return 1
    mkdir -p "$debian_cache"
    unpacked=$(mktemp -d "$debian_cache/$1.XXXXXX")
    if ! debootstrap --variant=minbase "$1" "$unpacked" "$mirror" >"$unpacked.log" 2>&1; then
        tail -n 20 "$unpacked.log" >&2
        rm -rf --one-file-system "$unpacked" "$unpacked.log"
        return 1
    fi
    rm -f "$unpacked"/var/cache/apt/archives/*.deb "$unpacked.log"
    # Beside and renamed: there may be two of us.
    tar --zstd -C "$unpacked" --numeric-owner -cf "$unpacked.tar.zst" .
    mv "$unpacked.tar.zst" "$archive"
    rm -rf --one-file-system "$unpacked"
}

# debian_system RELEASE FOLDER: unpacks the base system into FOLDER, which is made.
debian_system() {
    mkdir -p "$2"
    tar --zstd -C "$2" --numeric-owner -xpf "$debian_cache/$1-minbase.tar.zst"
    chmod 755 "$2"
    echo 'APT::Keep-Downloaded-Packages "true";' >"$2/etc/apt/apt.conf.d/80keep"
    echo 'force-unsafe-io' >"$2/etc/dpkg/dpkg.cfg.d/80quick" # it does not live long
}

# debian_inside FOLDER COMMAND...: runs a command in the system in FOLDER. What is mounted for it is mounted in a name space
# of its own, and its processes have one as well: when the command has ended, or is ended by debian_end, no mount and no
# process stays.
debian_process=
debian_end() {
    [ -n "$debian_process" ] || return 0
    kill -KILL "$debian_process" 2>/dev/null || true
    wait "$debian_process" 2>/dev/null || true
    debian_process=
}
debian_inside() {
    local folder=$1 release archives result=0
    shift
    release=$(sed -n 's/^VERSION_CODENAME=//p' "$folder/etc/os-release")
    archives=$debian_cache/archives-$release
    mkdir -p "$archives/partial" "$debian_cache/ccache-$release"
    unshare --mount --pid --fork --kill-child --propagation private bash -euc '
        root=$1 archives=$2 ccache=$3
        shift 3
        mount -t proc proc "$root/proc"
        mount -t sysfs -o ro sysfs "$root/sys"
        mount -t devpts -o newinstance,ptmxmode=0666,mode=0620,gid=5 devpts "$root/dev/pts"
        mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
        mount --bind "$archives" "$root/var/cache/apt/archives"
        mkdir -p "$root/var/cache/ccache"
        mount --bind "$ccache" "$root/var/cache/ccache"
        exec chroot "$root" env -i HOME=/root TERM=dumb LANG=C.UTF-8 LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
            CCACHE_DIR=/var/cache/ccache PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"
    ' inside "$folder" "$archives" "$debian_cache/ccache-$release" "$@" &
    # A signal is not answered before a command in the foreground has ended.
    debian_process=$!
    wait "$debian_process" || result=$?
    debian_process=
    return $result
}
