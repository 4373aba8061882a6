#!/bin/sh
# lifecycle.sh FOLDER: installs, upgrades, removes and purges the packages of FOLDER/1 and FOLDER/2, two revisions of
# one version, and looks at what is there after each step. For a machine that may be thrown away:
# scripts/test-elsewhere.
set -eu
packages=$1
apt-get --quiet=2 update
tool=/opt/velko/nimbrel
log=/var/log/VelkoSSDOSTREL.log

fail() { echo "lifecycle: $*" >&2; exit 1; }
there() { for path in "$@"; do [ -e "$path" ] || fail "$path is missing"; done; }
gone() { for path in "$@"; do [ ! -e "$path" ] || fail "$path is left over"; done; }
apt() {
    DEBIAN_FRONTEND=noninteractive apt-get --quiet=2 --yes --no-install-recommends "$@" </dev/null >/tmp/apt 2>&1 ||
        { cat /tmp/apt >&2; fail "failed: apt-get $*"; }
}
# says TEXT COMMAND ...: the command prints the line TEXT.
says() {
    text=$1
    shift
    "$@" >/tmp/said 2>&1 || { cat /tmp/said >&2; fail "failed: $*"; }
    grep -qxF "$text" /tmp/said || { cat /tmp/said >&2; fail "did not say: $text"; }
}

apt install "$packages"/1/nimbrel_*.deb "$packages"/1/nimbrel-simdrive_*.deb "$packages"/1/nimbrel-dev_*.deb
[ "$(command -v nimbrel)" = /usr/bin/nimbrel ] || fail "nimbrel is not in the path"
nimbrel-simdrive create one --serial ONE --size 64MiB
says "SerialNumber : ONE" nimbrel show -display SerialNumber -velkossd
nimbrel set -system EnableLog=true
nimbrel set -system LogFile=/var/log/chosen.log
nimbrel show -velkossd >/dev/null
nimbrel dump -destination /root/dump.bin -velkossd 0 -telemetrylog
mkdir -p /var/lib/nimbrel
touch /var/lib/nimbrel/baseline "$log"
there $tool/nimbrel_config.xml /var/log/chosen.log /root/dump.bin

echo "lifecycle: upgrade"
cp $tool/nimbrel_config.xml /tmp/settings
apt install "$packages"/2/nimbrel_*.deb "$packages"/2/nimbrel-simdrive_*.deb "$packages"/2/nimbrel-dev_*.deb
case $(dpkg-query -W -f '${Version}' nimbrel) in *-2*) ;; *) fail "the old revision is installed" ;; esac
cmp $tool/nimbrel_config.xml /tmp/settings
says "LogFile: /var/log/chosen.log" nimbrel show -system
says "SerialNumber : ONE" nimbrel show -display SerialNumber -velkossd

echo "lifecycle: removal"
apt remove nimbrel nimbrel-simdrive
gone /usr/bin/nimbrel /usr/bin/nimbrel-simdrive $tool/nimbrel $tool/Velko.SSDFeatures.so.3.0.0
there $tool/nimbrel_config.xml $tool/SimulatedDrives/one /var/lib/nimbrel/baseline "$log" /var/log/chosen.log

echo "lifecycle: purge"
says "nimbrel: left in place: the debug log /var/log/chosen.log" dpkg --purge nimbrel
says "nimbrel-simdrive: left in place: the simulated drives in $tool/SimulatedDrives" dpkg --purge nimbrel-simdrive
gone $tool/nimbrel_config.xml /var/lib/nimbrel "$log"
there $tool/SimulatedDrives/one /root/dump.bin /var/log/chosen.log

echo "lifecycle: a purge that leaves nothing"
apt install "$packages"/2/nimbrel_*.deb "$packages"/2/nimbrel-simdrive_*.deb
nimbrel-simdrive remove one
nimbrel show -system >/dev/null
apt purge nimbrel nimbrel-simdrive
gone /opt/velko

echo "lifecycle: the example library"
apt install "$packages"/2/nimbrel_*.deb make gcc libc6-dev pkgconf
mkdir /tmp/example
cp /usr/share/doc/nimbrel-dev/examples/feature-library/* /tmp/example
make --quiet -C /tmp/example CFLAGS=-Werror
cp /tmp/example/Velko.SSDFeatures.so.3.0.0 $tool/
says "SerialNumber : EXAMPLE1" nimbrel show -velkossd
echo "lifecycle: passed"
