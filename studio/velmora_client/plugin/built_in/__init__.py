"""Plugins that come with the Studio.

Each is a directory with a `main.py`, and its name begins with `builtin_`. Paths in their
registrations are relative to the directory of this package, which all of them share.
"""
