#!/bin/busybox sh
# shellcheck shell=dash
# The first process of the machine: loads the modules, does the job that it was started for, and says so.
/bin/busybox mkdir -p /proc /sys /dev /tmp
/bin/busybox --install -s /bin
export PATH=/bin BRQTRACE_THRESHOLD=0
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
for module in /modules/*.ko; do
    insmod "$module"
done
# Nothing may be written between what the job says and what the other side reads of it.
echo 1 >/proc/sys/kernel/printk
# What the kernel would write after half a minute it writes after half a second.
echo 20 >/proc/sys/vm/dirty_writeback_centisecs
echo 50 >/proc/sys/vm/dirty_expire_centisecs
if sh -eu /job.sh; then
    echo "job: done"
else
    dmesg | tail -20
    echo "job: failed"
fi
# The power goes when the other side has read that, or, if there is no other side any more, when this process ends.
sleep 30
