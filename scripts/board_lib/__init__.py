"""The virtual board: image making, the VM, and the checks run on it."""
