"""What bench/run.py is made of: running the cases, the arithmetic, the table of targets, tables and plots."""
