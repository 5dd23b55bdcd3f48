#!/bin/bash
# The workflow and the job array on a one-node Slurm of their own: ten parts of the example study, of
# which one fails on its first try. The merged tables are those of a plain run. slurm_test.sh PROGRAM
set -euo pipefail
program=$(realpath "$1")
source=$(realpath "$(dirname "$0")/../..")
dir=$(mktemp -d)
export SLURM_CONF=$dir/slurm.conf CI=true # with CI Snakemake looks at its jobs each second
PATH=$dir/bin:$PATH

fail() {
    echo "FAILED: $*" >&2
    tail -n 50 "$dir"/study/snakemake.log "$dir"/study/slurm/*.out "$dir"/*.log >&2 || true
    exit 1
}

end() {
    status=$?
    scancel --full --user="$(id -un)" 2>/dev/null || true
    for daemon in slurmd slurmctld; do
        pid=$(cat "$dir/$daemon.pid" 2>/dev/null) || continue
        kill "$pid" 2>/dev/null || true
        for _ in {1..100}; do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    done
    rm -rf "$dir"
    exit $status
}
trap end EXIT

start_slurm() {
    host=$(hostname -s)
    read -r control node < <(python3 -c 'import socket
s = [socket.socket() for _ in range(2)]
[x.bind(("127.0.0.1", 0)) for x in s]
print(*(x.getsockname()[1] for x in s))')
    mkdir "$dir/state" "$dir/spool"
    cat >"$SLURM_CONF" <<CONF
ClusterName=test
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$control
SlurmdPort=$node
SlurmUser=$(id -un)
SlurmdUser=$(id -un)
AuthType=auth/none
CredType=cred/none
MpiDefault=none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
SlurmdParameters=config_overrides
SchedulerType=sched/builtin
SchedulerParameters=sched_interval=1,batch_sched_delay=0,sched_min_interval=0
PriorityType=priority/basic
ReturnToService=2
KillWait=5
MinJobAge=300
StateSaveLocation=$dir/state
SlurmdSpoolDir=$dir/spool
SlurmctldPidFile=$dir/slurmctld.pid
SlurmdPidFile=$dir/slurmd.pid
SlurmctldLogFile=$dir/slurmctld.log
SlurmdLogFile=$dir/slurmd.log
NodeName=$host NodeAddr=127.0.0.1 CPUs=4 RealMemory=1000 State=UNKNOWN
PartitionName=main Nodes=$host Default=YES MaxTime=INFINITE State=UP
CONF
    slurmctld -f "$SLURM_CONF" && slurmd -f "$SLURM_CONF"
    for _ in {1..200}; do
        ! sinfo -h -o %T 2>/dev/null | grep -q idle || return 0
        sleep 0.1
    done
    fail "Slurm does not start"
}

cp -r "$source/examples/scan" "$dir/study"
mkdir "$dir/bin"
cat >"$dir/bin/quilmar-scan" <<SH
#!/bin/sh
echo "\$*" >>$dir/calls
case " \$* " in
    *" --parallel 04 10 "*) [ -e $dir/tried ] || { touch $dir/tried; exit 1; } ;;
esac
exec $program "\$@"
SH
chmod +x "$dir/bin/quilmar-scan"
cd "$dir/study"
start_slurm

sed 's/^mem_mb: .*/mem_mb: 100/; s/^runtime: .*/runtime: 5/; s/^threads: .*/threads: 1/' "$source/workflow/config.yaml" >config.yaml
options=$(sed -n 's/^options: //p' config.yaml)
snakemake -s "$source/workflow/Snakefile" --profile "$source/workflow/profile" \
    --default-resources mem_mb=100 runtime=5 >snakemake.log 2>&1 || fail "the workflow"
# shellcheck disable=SC2086
"$program" --bfile study $options --quiet --out plain
for table in win hap; do
    zcat scan/study.$table.tsv.gz | cmp - plain.$table.tsv || fail "$table.tsv differs"
    rows=$(tabix scan/study.$table.tsv.gz 22:30453000-30465000 | grep -c '	448	') || fail "no index"
    [ "$rows" = "$(grep -c '	448	' plain.$table.tsv)" ] || fail "$table.tsv: its index"
done
[ "$(wc -l <"$dir/calls")" = 11 ] || fail "not 10 parts and one again"

# Files by chromosome, scanned by this machine.
for file in bed bim fam; do cp study.$file chr22.$file; cp study.$file chr21.$file; done
head -c 60003 study.bed >chr21.bed
tail -c 60000 study.bed | cat <(head -c 3 study.bed) - >chr22.bed
head -n 300 study.bim >chr21.bim
tail -n 300 study.bim >chr22.bim
plots=false
ln -s "$source"/plot/quilmar-{plot,table} "$dir/bin"
! python3 -c "import matplotlib, scipy" 2>/dev/null || plots=true
by() { # a prefix, which no shell may take for more, and an option
    snakemake -s "$source/workflow/Snakefile" -j 2 --config 'bfile=a $(touch x)/chr{chromosome}' chromosomes="${3-21-22}" \
        out="$1" parts=2 plots=$plots options="$options $2" >snakemake.log 2>&1
}
mkdir 'a $(touch x)'
mv chr2* a*
out='by $(touch x)/chr'
by "$out" --effects=NONE || fail "the workflow by chromosome"
zcat "$out.win.tsv.gz" | cut -f 1-3,5- | cmp - <(cut -f 1-3,5- plain.win.tsv) || fail "by chromosome"
[ $plots = false ] || [ "$(head -q -c 4 "$out".{manhattan,qq}.png | tr -d '\211')" = PNGPNG ] ||
    fail "no plots"
[ $plots = false ] || cut -f 1-3,5- "$out.lead.tsv" | cmp - <(cut -f 1-3,5- plain.lead.tsv) || fail "other leads"
[ ! -e x ] && [ ! -e "$out.effects.tsv.gz" ] || fail "quotes, or effects"
# An ended part of other options, and one of an older .bim.
parts=$(dirname "$out".parts/*/21.1of2.log)
rm "$parts"/21.1of2.*
mkdir "$parts/21.1of2.parts"
touch -d 2020-01-01 "$parts/21.1of2.parts/"{record,001}
by "$out" --effects=NONE || fail "a part of an older input"
by "$out" "--effects none --maf .01" || fail "other options"
! by "$out" "" 22-21 && grep -q "chromosomes: '22-21' is no chromosome" snakemake.log || fail "22-21"

for key in $(sed -n 's/^\([a-z_]*\):.*/\1/p' config.yaml); do
    grep -q "^|.*\`$key\`.*|" "$source/docs/cluster.md" || fail "$key is not in docs/cluster.md"
done

# The job array, of three parts.
sed 's/"\$SLURM_ARRAY_TASK_ID" 10/"$SLURM_ARRAY_TASK_ID" 3/' "$source/workflow/array.sh" >array.sh
sbatch --array=1-3 --mem=100 --output=array.%a.out array.sh >/dev/null || fail "sbatch"
while squeue -h | grep -q .; do sleep 0.2; done
for table in win hap; do
    awk 'NR == 1 || FNR > 1' scan.*of3.$table.tsv | cmp - plain.$table.tsv || fail "array: $table.tsv"
done
echo "The merged tables are those of the plain run."
