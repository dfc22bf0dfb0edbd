# Sourced by the tests that want a machine with nothing on it. They end as skipped (status 77) where it cannot be made.

for need in debootstrap chroot; do
    command -v $need >/dev/null || { echo "skipped: needs $need"; exit 77; }
done
[ "$(id -u)" = 0 ] || { echo "skipped: needs root, to enter another root folder"; exit 77; }

# make_chroot FOLDER: Debian's smallest installation, of the release and from the place that this machine has its packages
# of. The first one made is kept in the folder $cache, from where all others are unpacked.
make_chroot() {
    local site release
    read -r site release < <(apt-get indextargets --format '$(REPO_URI) $(CODENAME)' 'Created-By: Packages' |
        grep -Ev -- '-(security|updates|backports)$' | sort -u)
    mkdir -p "$1" "$cache"
    if [ ! -e "$cache/$release.tar" ]; then
        debootstrap --variant=minbase "$release" "$1" "$site" >"$cache/log" 2>&1 || { tail "$cache/log" >&2; exit 1; }
        rm -r "$1/etc/apt"
        cp -rL /etc/apt "$1/etc/"
        [ ! -e /etc/resolv.conf ] || cp -L /etc/resolv.conf "$1/etc/"
        chroot "$1" apt-get -qq update
        tar -C "$1" -cf "$cache/$release.tar.part" .
        mv "$cache/$release.tar.part" "$cache/$release.tar"
    else
        tar -C "$1" -xf "$cache/$release.tar"
    fi
}

# in_chroot FOLDER COMMAND...: nobody is there to be asked, and the language is nobody's.
in_chroot() { env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive chroot "$@"; }

# in_chroot_install FOLDER PACKAGE...: with what the packages need, and nothing that they recommend.
in_chroot_install() {
    local folder=$1
    shift
    in_chroot "$folder" apt-get install -qq --yes --no-install-recommends -o Dpkg::Use-Pty=0 "$@" >"$cache/log" 2>&1 ||
        { tail "$cache/log" >&2; exit 1; }
}
