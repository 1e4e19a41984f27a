"""Campaigns: many pairs of files, compared in processes or on a cluster.

    pairs     which files are compared: from two folders, a table or Python
    work      what a worker does with a batch of jobs
    results   what is kept of a comparison
    journal   the file of results, appended to as pairs finish
    schedule  batches, parts of large pairs, retries
    pool      workers as processes of this machine
    cluster   workers of a distributed cluster
    campaign  the function that users call
"""
