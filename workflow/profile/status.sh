#!/bin/sh
# What Snakemake asks of a Slurm job: success, failed or running. status.sh JOB
said=$(scontrol -o show job "$1" 2>&1)
state=$(echo "$said" | sed -n 's/.* JobState=\([A-Z_]*\) .*/\1/p')
case $said in
    # The controller has forgotten it: the accounting knows it, where there is one.
    *"Invalid job id"*) state=$(sacct -X -n -P -o State -j "$1" 2>/dev/null) || state=UNKNOWN ;;
esac
case $state in
    COMPLETED) echo success ;;
    # Nothing: the controller does not answer now.
    PENDING | RUNNING | CONFIGURING | COMPLETING | SUSPENDED | REQUEUED | "") echo running ;;
    *) echo failed ;;
esac
