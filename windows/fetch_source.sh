#!/usr/bin/env bash
# Fetches Debian source packages. Usage: fetch_source.sh FOLDER PACKAGE...
# Each lands unpacked, with Debian's patches, in FOLDER/PACKAGE. The user's apt settings stay as they are: the list of
# source archives is made of the archives that this machine takes its binary packages from, in a folder of its own.
set -euo pipefail

folder=$(mkdir -p "$1" && cd "$1" && pwd)
shift
missing=()
for package in "$@"; do
    [ -d "$folder/$package" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

for command in apt-get dpkg-source patch; do
    command -v "$command" >/dev/null || {
        echo "fetch_source.sh: $command is missing; install the Debian package dpkg-dev (and apt)" >&2
        exit 1
    }
done

apt=$folder/apt
mkdir -p "$apt/lists/partial" "$apt/cache/archives/partial"
apt-get indextargets --format '$(ORIGIN)|$(SITE)|$(RELEASE)|$(COMPONENT)|$(SIGNED_BY)' "Created-By: Packages" |
    sort -u | while IFS='|' read -r origin site release component signed; do
    [ "$origin" = Debian ] || continue
    case "$signed" in '' | '$'*) signed='' ;; *) signed="[signed-by=$signed] " ;; esac
    echo "deb-src $signed$site $release $component"
done >"$apt/sources.list"
[ -s "$apt/sources.list" ] || {
    echo "fetch_source.sh: apt knows no Debian archive; run apt-get update first" >&2
    exit 1
}

options=(-o "Dir::Etc::SourceList=$apt/sources.list" -o Dir::Etc::SourceParts=- -o "Dir::State::Lists=$apt/lists"
    -o "Dir::Cache=$apt/cache" -o APT::Sandbox::User= -q=2)
cd "$apt"
apt-get "${options[@]}" update
# download PACKAGE: its newest version; where an archive lists that but does not hold it, that of another release.
download() {
    local wanted
    for wanted in "$1" $(sed 's/\[[^]]*\] //' "$apt/sources.list" | cut -d " " -f 3 | sed "s|^|$1/|"); do
        rm -f "$1"_*.dsc
        apt-get "${options[@]}" source --download-only "$wanted" >/dev/null 2>"$apt/messages" && return 0
    done
    cat "$apt/messages" >&2
    return 1
}
for package in "${missing[@]}"; do
    download "$package" || {
        echo "fetch_source.sh: $package cannot be fetched" >&2
        exit 1
    }
    description=$(find "$apt" -maxdepth 1 -name "${package}_*.dsc")
    rm -rf "$folder/$package.new"
    dpkg-source --no-check -x "$description" "$folder/$package.new" >/dev/null
    mv "$folder/$package.new" "$folder/$package"
    rm -f "$folder/${package}"_*.tar.*
    echo "fetched $(basename "$description" .dsc)"
done
