"""Plugins: how they are found and loaded, and those that come with the Studio."""
