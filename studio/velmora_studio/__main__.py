"""`python -m velmora_studio`."""

import sys

from velmora_studio.command import main

sys.exit(main())
