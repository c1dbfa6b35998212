"""The Studio's own services: settings, organisations, device groups, users and plugins."""
