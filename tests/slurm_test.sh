#!/usr/bin/env bash
# Trains on a Slurm cluster of this test's own: three nodes on the loopback address, own folders and
# ports. On the way a task is killed and a node drained; the model is the same bytes as of one process.
# Usage: slurm_test.sh PROGRAM; 77 where Slurm is not installed.
set -euo pipefail
program=$1
. "$(dirname "$0")/small_footage.sh"
PATH=$PATH:/usr/sbin:/sbin
for needed in munged slurmctld slurmd sbatch; do
  command -v $needed >/dev/null || {
    echo "slurm: not tested, there is no $needed; ./check all installs it"
    exit 77
  }
done
work=$(mktemp -d "${TMPDIR:-/tmp}/remora-slurm.XXXXXX")
chmod 755 "$work"
daemons=()
end() {
  for pid in "${daemons[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${daemons[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap end EXIT
fail() {
  echo "$*" >&2
  tail -n 20 "$work"/*.log >&2
  exit 1
}
# within SECONDS COMMAND...
within() {
  local left=$((10 * $1))
  shift
  until "$@" >/dev/null 2>&1; do
    left=$((left - 1))
    [ $left -gt 0 ] || return 1
    sleep 0.1
  done
}

host=$(hostname -s)
port=$((20000 + $$ % 20000))
mkdir "$work/state"
head -c 1024 /dev/urandom >"$work/munge.key"
chmod 600 "$work/munge.key"
munged --foreground --force --key-file="$work/munge.key" --socket="$work/munge.socket" \
  --pid-file="$work/munge.pid" --log-file="$work/munge.log" --seed-file="$work/munge.seed" \
  >"$work/munged.log" 2>&1 &
daemons+=($!)
within 20 test -S "$work/munge.socket" || fail "munged does not start"
cat >"$work/slurm.conf" <<CONF
ClusterName=remora-test
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$port
AuthType=auth/munge
CredType=cred/munge
AuthInfo=socket=$work/munge.socket
SlurmUser=$(id -un)
SlurmdUser=$(id -un)
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool.%n
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.%n.pid
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
MpiDefault=none
SwitchType=switch/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
SchedulerParameters=batch_sched_delay=0,sched_interval=2
MinJobAge=3600
NodeName=n[1-3] NodeHostname=$host NodeAddr=127.0.0.1 Port=[$((port + 1))-$((port + 3))] CPUs=1 RealMemory=4000 State=UNKNOWN
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
CONF
export SLURM_CONF=$work/slurm.conf
slurmctld -D >"$work/slurmctld.log" 2>&1 &
daemons+=($!)
for node in n1 n2 n3; do
  mkdir "$work/spool.$node"
  slurmd -D -N $node >"$work/slurmd.$node.log" 2>&1 &
  daemons+=($!)
done
all_idle() { [ "$(sinfo -h -N -o %T | grep -c '^idle$')" = 3 ]; }
within 60 all_idle || fail "the nodes do not come up: $(sinfo -N 2>&1)"

make_footage "$work/footage"
train=(--annotations "$work/footage/points.csv" --stages 12 --predictors 40)
"$program" train "${train[@]}" --jobs 1 -o "$work/alone" 2>/dev/null
"$program" train "${train[@]}" --plan slurm --group 1 -o "$work/model" 2>/dev/null

# No task goes on while there is the file `hold`.
cat >"$work/remora" <<HELD
#!/bin/sh
while [ -e "$work/hold" ]; do sleep 0.1; done
exec "$(realpath "$program")" "\$@"
HELD
chmod +x "$work/remora"
export REMORA=$work/remora
submit() { "$work/model/plan/slurm" >"$work/submitted" || fail "cannot submit: $(cat "$work/submitted")"; }
runs() { [ -n "$(squeue -h -t R -n remora-units -o %N)" ]; }
no_units() { [ -z "$(squeue -h -n remora-units)" ]; }
over() { [ -z "$(squeue -h)" ]; }

# All tasks are cancelled: the join says what is missing.
touch "$work/hold"
submit
within 60 runs || fail "no task runs: $(squeue 2>&1)"
scancel --name=remora-units
within 60 no_units || fail "tasks stay: $(squeue 2>&1)"
rm "$work/hold"
within 100 over || fail "jobs stay: $(squeue 2>&1)"
[ ! -e "$work/model/model.json" ] || fail "there is a model of nothing"
grep -q "4 of 4 units are missing" "$work/model/plan/join.log" ||
  fail "the join does not say what is missing: $(cat "$work/model/plan/join.log")"

# A task is killed and its node drained: the others do its units.
touch "$work/hold"
submit
within 60 runs || fail "no task runs: $(squeue 2>&1)"
read -r task node < <(squeue -h -t R -n remora-units -o "%A %N" | head -1)
scontrol update nodename="$node" state=drain reason=test
scancel --signal=KILL --full "$task"
killed() { ! squeue -h -t R,CG -n remora-units -o %A | grep -qx "$task"; }
within 60 killed || fail "the task stays: $(squeue 2>&1)"
rm "$work/hold"
within 100 over || fail "jobs stay: $(squeue 2>&1)"
[ "$(sinfo -h -n "$node" -o %T)" = drained ] || fail "$node is not drained: $(sinfo -N)"
[ -e "$work/model/model.json" ] || fail "no model: $(cat "$work/model/plan/join.log")"
same_model "$work/alone" "$work/model" || fail "the models differ"
