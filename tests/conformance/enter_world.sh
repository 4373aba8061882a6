#!/bin/sh
# enter_world.sh SCRATCH STDIN COMMAND [ARGUMENT ...]
# Runs in a private mount namespace: puts the folders of SCRATCH in the place of the tool's fixed places, then becomes
# COMMAND. No drive of the machine is seen, everything else of it is as it is outside. STDIN "closed" closes standard
# input, anything else leaves it alone.
set -e
scratch=$1
stdin=$2
shift 2

# The drives of the machine are none of the tests' business: the tool finds them in these.
for class in /sys/class/nvme /sys/class/block; do
    if [ -d "$class" ]; then
        mount -t tmpfs tmpfs "$class"
    fi
done
mount --bind "$scratch/opt" /opt
mount --bind "$scratch/var_lib" /var/lib
mount --bind "$scratch/var_log" /var/log
mount --bind "$scratch/run" /run
# Of systemd it is a link into /run, which is hidden by now; another system log has a socket of its own there.
if [ -S /dev/log ]; then
    mount --bind /dev/null /dev/log
fi
if [ -d "$scratch/usr_lib" ]; then
    # /usr/lib cannot be replaced, the programs need what is in it: the scratch folder is laid over it.
    mount -t tmpfs tmpfs "$scratch/overlay"
    mkdir "$scratch/overlay/upper" "$scratch/overlay/work"
    cp -a "$scratch/usr_lib/." "$scratch/overlay/upper/"
    layers="lowerdir=/usr/lib,upperdir=$scratch/overlay/upper,workdir=$scratch/overlay/work"
    mount -t overlay overlay -o "$layers,userxattr" /usr/lib
fi

if [ "$stdin" = closed ]; then
    exec "$@" <&-
fi
exec "$@"
