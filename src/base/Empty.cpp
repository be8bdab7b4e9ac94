// Keeps a folder library valid while it has no sources of its own.
