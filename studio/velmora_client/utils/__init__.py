"""Settings of this computer."""
