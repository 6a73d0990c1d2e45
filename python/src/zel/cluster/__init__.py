"""One recipe over very many photographs, on a Dask cluster.

    from zel import cluster
    job = cluster.check(cluster.Job("photos/", "s3://bucket/done", recipe_text))
    print(cluster.plan(job))
    with cluster.connect(workers=2) as client:
        print(cluster.run(job, client))

Every chunk of photographs goes through the tool `zel` on a worker, so the files are those that the tool writes.
"""
from .client import Plan, Summary, UsageError, check, connect, plan, run
from .work import Job, ToolError

__all__ = ["Job", "Plan", "Summary", "ToolError", "UsageError", "check", "connect", "plan", "run"]
