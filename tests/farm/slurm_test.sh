#!/usr/bin/env bash
# Starts a Slurm of this one machine and renders through tools/farm/lumofarm: frames, shares, a share that fails at first,
# one that fails for good. Run on request: tests/farm/slurm_test.sh build/release
# Needs root and the Debian packages slurm-wlm and munge; leaves nothing running.
set -euo pipefail

build=$(realpath "${1:?the folder of the build is missing}")
tools=$(realpath "$(dirname "$0")/../../tools/farm")
cases=$(realpath "$(dirname "$0")/../render/cases")
work=$(mktemp -d /tmp/lumo-slurm-XXXXXX)
daemons=()
cleanUp() {
    ((${#daemons[@]})) && kill "${daemons[@]}" 2>/dev/null || true
    wait || true
    if [[ -n ${KEEP-} ]]; then echo "kept $work"; else rm -rf "$work"; fi
}
trap cleanUp EXIT

# ---- the cluster: two processors, whatever the machine has
mkdir -p "$work"/{munge,state,spool,shots}
chmod 755 "$work"
head -c 1024 /dev/urandom >"$work/munge/key"
chmod 700 "$work/munge"
chmod 400 "$work/munge/key"
munged --foreground --force --key-file="$work/munge/key" --socket="$work/munge.socket" \
    --log-file="$work/munge/log" --pid-file="$work/munge/pid" --seed-file="$work/munge/seed" 2>"$work/munged.err" &
daemons+=($!)
cat >"$work/slurm.conf" <<EOF
ClusterName=one
SlurmctldHost=$(hostname -s)(127.0.0.1)
SlurmctldPort=36817
SlurmdPort=36818
AuthType=auth/munge
AuthInfo=socket=$work/munge.socket
CredType=cred/munge
SlurmUser=root
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SchedulerParameters=sched_interval=1,batch_sched_delay=0,sched_min_interval=1
ReturnToService=2
SlurmdParameters=config_overrides
NodeName=$(hostname -s) NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES State=UP
EOF
export SLURM_CONF="$work/slurm.conf"
slurmctld -D -i >"$work/slurmctld.log" 2>&1 &
daemons+=($!)
slurmd -D >"$work/slurmd.log" 2>&1 &
daemons+=($!)
for ((i = 0; i < 60; ++i)); do
    sinfo -h -o %T 2>/dev/null | grep -q idle && break
    sleep .5
done
sinfo -h -o %T | grep -q idle || { tail -20 "$work"/slurm*.log; exit 1; }

# ---- what is rendered
export MI_LIBRARY_PATH="$build/tests/modules:$build" MI_RAY_INCPATH="$build/tests/modules:$build:$cases"
cd "$work/shots"
scene="$cases/Busy.mi"
render=("$build/lumorender" -resolution 64 48 -task_size 8 -verbose 5)
failures=0
check() {
    local what=$1
    shift
    if "$@"; then echo "ok      $what"; else echo "FAILED  $what" && failures=$((failures + 1)); fi
}
# Waits until no job is left that can still run.
awaitJobs() {
    for ((i = 0; i < 240; ++i)); do
        [[ -z $(squeue -h -t PENDING,RUNNING,COMPLETING,CONFIGURING 2>/dev/null) ]] && return
        sleep .5
    done
    squeue
    return 1
}
stateOf() { scontrol show job "$1" | grep -o 'JobState=[A-Z_]*' | sort -u | tr '\n' ' '; }
samePixels() { cmp <(pixels "$1") <(pixels "$2"); }
# The files but for the seconds that they took, which stand in their headers.
pixels() {
    python3 - "$1" <<'EOF'
import re, sys
data = open(sys.argv[1], "rb").read()
sys.stdout.buffer.write(re.sub(rb"renderSeconds\0float\0....(....)", b"", data, flags=re.S))
EOF
}

"${render[@]}" -verbose 3 -o whole.exr "$scene"

# Four shares with their points made first, and their merge.
"$tools/lumofarm" tiles 4 -o shared.exr --points -- "${render[@]}" "$scene" >jobs
awaitJobs
check "shares join to the picture" samePixels whole.exr shared.exr
check "the shares took the points of the first job" test "$(grep -l "points, 0 rays" logs/lumo.*_*.log | wc -l)" = 4

# A share that fails twice is tried again; the merge waits for it.
cat >fails <<EOF
#!/bin/bash
if [[ " \$* " == *" 2/3 "* && \$(ls turns.* 2>/dev/null | wc -l) -lt 2 ]]; then touch "turns.\$RANDOM\$RANDOM"; exit 1; fi
exec "${render[0]}" "\$@"
EOF
chmod +x fails
"$tools/lumofarm" tiles 3 -o again.exr --name again -- ./fails "${render[@]:1}" "$scene" >jobs
awaitJobs
check "a share that failed twice is rendered" samePixels whole.exr again.exr
check "its log tells of three turns" grep -q "turn 3" logs/again.*_2.log

# One that fails for good keeps the merge from running; the same command completes it when the reason is gone.
printf '#!/bin/bash\n[[ " $* " == *" 1/2 "* ]] && exit 1\nexec "%s" "$@"\n' "${render[0]}" >never
chmod +x never
"$tools/lumofarm" tiles 2 -o never.exr --name never --retries 1 -- ./never "${render[@]:1}" "$scene" >jobs
awaitJobs
check "no picture without all shares" test ! -e never.exr
check "the share counts as failed" bash -c "[[ '$(stateOf "$(sed -n 's/^shares //p' jobs)")' == *FAILED* ]]"
"$tools/lumofarm" tiles 2 -o never.exr --name never -- "${render[@]}" "$scene" >jobs
awaitJobs
check "once more, the missing share alone is rendered" samePixels whole.exr never.exr
check "the other was there" grep -q "is finished already" logs/never.*_2.log

# Wrong use is not tried again.
"$tools/lumofarm" tiles 2 -o wrong.exr --name wrong -- "${render[@]}" -nonsense "$scene" >jobs
awaitJobs
check "wrong use is not repeated" bash -c '! grep -q "turn 2" logs/wrong.*.log && grep -q "exit code 2" logs/wrong.*_1.log'

# Frames: a scene each.
for frame in 0001 0002 0003; do
    printf '$include <Busy.mi>\n' >"shot.$frame.mi"
done
"$tools/lumofarm" frames 1-3 --name shot -- "${render[@]}" -o "shot.@@@@.exr" "shot.@@@@.mi" >jobs
awaitJobs
check "a picture for each frame" test -e shot.0001.exr -a -e shot.0002.exr -a -e shot.0003.exr
check "frames are as rendered by hand" samePixels whole.exr shot.0002.exr

# A scene with all frames: each task renders one of its render commands.
cat >film.mi <<'EOF'
$include <Busy.mi>
incremental camera "cam" framebuffer "beauty" datatype "rgba_fp" primary on filename "second.exr"
    framebuffer "motion" datatype "m" filename "second.exr" end camera
render "world" "cam_i" "opt"
EOF
"$tools/lumofarm" frames 1-2 --name film -- "${render[@]}" film.mi >jobs
awaitJobs
check "a task for each render command" samePixels whole.exr out.exr
check "the second one, too" test -e second.exr

# Slurm's word that the time is over: the task stops, keeps what it has, and waits for another turn.
"$tools/lumofarm" tiles 1 -o long.exr --name long -- "${render[@]}" -samples 5 "$scene" >jobs
job=$(sed -n 's/^shares //p' jobs)
for ((i = 0; i < 100; ++i)); do [[ -s long.1-of-1.part ]] && break; sleep .1; done
sleep 1
scancel --batch --signal=TERM "$job"
for ((i = 0; i < 50; ++i)); do grep -q "out of time" logs/long.*_1.log && break; sleep .2; done
check "a task without time stops in good order" grep -q "out of time" logs/long.*_1.log
check "it is queued again" bash -c "sleep 2; scontrol show job '$job' | grep -Eq 'Restarts=1'"
scontrol update jobid="$job" starttime=now 2>/dev/null || true
awaitJobs
check "and goes on" grep -q "goes on from" logs/long.*_1.log
check "to the picture" test -e long.exr

echo "$failures failed"
((failures == 0))
