"""The small Studio's web application: shows utilities, starts and stops them, and forwards to them.

    PYTHONPATH=build/python:studio /usr/bin/python3 -m velmora_studio
"""
