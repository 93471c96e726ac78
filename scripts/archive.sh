# shellcheck shell=bash
# Packages of another architecture, from the Debian archive that this machine's own apt is set up for: sourced after
# lib.sh, never run.
#
# They come through an apt root of their own, so nothing about the machine's packages or architectures changes and no root
# is needed.

# open_archive ARCHITECTURE FOLDER: reads the archive's lists. The folder is the apt root, which the caller removes.
open_archive() {
    archive_architecture=$1
    archive_folder=$2
    local archives archive keyring=/usr/share/keyrings/debian-archive-keyring.gpg
    archive_codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
    archives=$(archives_by)
    # Without lists, as in cleaned images, apt still knows what stands in its sources.
    [ -n "$archives" ] || archives=$(archives_by --no-release-info)
    [ -n "$archives" ] ||
        die "apt of this machine knows no Debian archive for '$archive_codename', component main; run apt-get update"
    mkdir -p "$archive_folder/state/lists/partial" "$archive_folder/cache/archives/partial"
    : >"$archive_folder/state/status"
    while IFS= read -r archive; do
        printf 'd%s [signed-by=%s] %s %s main\n' eb "$keyring" "$archive" "$archive_codename"
    done <<<"$archives" >"$archive_folder/sources.list"
    archive_apt apt-get update >&2 ||
        die "apt could not read the $archive_architecture lists of the archive (its messages are above)"
}

# unpack_packages FOLDER PACKAGE...: fetches the packages, the newest of each, and unpacks them into the folder.
unpack_packages() {
    local into=$1 package
    shift
    mkdir -p "$archive_folder/debs" "$into"
    (cd "$archive_folder/debs" && archive_apt apt-get download "$@") >&2 ||
        die "apt could not fetch the $archive_architecture packages (its messages are above)"
    for package in "$archive_folder/debs"/*.deb; do
        dpkg -x "$package" "$into"
    done
}

# archive_apt TOOL ARGUMENTS...: apt-get or apt-cache with the machine's archive, keys and proxy, but own lists, status
# and cache.
archive_apt() {
    local tool=$1
    shift
    "$tool" -q \
        -o Dir::Etc::SourceList="$archive_folder/sources.list" -o Dir::Etc::SourceParts=/dev/null \
        -o Dir::Etc::Preferences=/dev/null -o Dir::Etc::PreferencesParts=/dev/null \
        -o Dir::State="$archive_folder/state" -o Dir::State::Status="$archive_folder/state/status" \
        -o Dir::Cache="$archive_folder/cache" \
        -o APT::Architecture="$archive_architecture" -o APT::Architectures::="$archive_architecture" \
        -o APT::Sandbox::User=root -o APT::Update::Post-Invoke::= -o APT::Update::Post-Invoke-Success::= \
        -o Acquire::Languages=none -o Acquire::Retries=3 "$@"
}

# archives_by APT-OPTIONS...: the archives of the distribution that this machine runs, as its own apt knows them.
archives_by() {
    # shellcheck disable=SC2016 # apt fills these in
    apt-get "$@" indextargets --format '$(RELEASE)|$(CODENAME)|$(COMPONENT)|$(REPO_URI)' 'Created-By: Packages' |
        sed -n -e "s/^$archive_codename|[^|]*|main|//p" -e "s/^[^|]*|$archive_codename|main|//p" | sort -u
}
