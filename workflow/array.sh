#!/bin/sh
# A scan as a plain job array: sbatch workflow/array.sh. The array's numbers are the parts; a part that
# was ended goes on where it was when it is submitted again (sbatch --array=3,7 workflow/array.sh).
#SBATCH --job-name=scan --array=1-10 --cpus-per-task=2 --mem=1000 --time=120
exec quilmar-scan --bfile study --pheno pheno.txt --covar covar.txt --covar-name age,sex,PC1-PC4 \
    --parallel "$SLURM_ARRAY_TASK_ID" 10 --threads "$SLURM_CPUS_PER_TASK" --resume --quiet --out scan
