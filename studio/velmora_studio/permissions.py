"""Refusals of what the current user may not use."""

from fastapi import HTTPException

from velmora_studio.instances import Instance
from velmora_studio.operations import Operations


class Permissions:
    def __init__(self, operations: Operations) -> None:
        self._operations = operations

    async def check(self, utility_name: str, group_name: str | None) -> None:
        """Refuses what the views show nowhere to this user."""
        if await self._operations.may_use(utility_name, group_name):
            return
        if not self._operations.registration(utility_name):
            raise HTTPException(404, f"Utility '{utility_name}' is not registered.")
        raise HTTPException(403, f"Permission denied: you may not use utility '{utility_name}'.")

    async def instance(self, server_id: str) -> Instance | None:
        """Refuses an instance that the user may not use; None if there is none."""
        instance = self._operations.running.table.get(server_id)
        if instance is None:
            await self._operations.running.fresh_instances()
            instance = self._operations.running.table.get(server_id)
        if instance:
            await self.check(instance.utility_name, instance.group_name)
        return instance
