"""Who the user is, and which organisations and device groups there are."""
