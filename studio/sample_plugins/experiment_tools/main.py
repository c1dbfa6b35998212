"""Two entries of the create-experiment menu (`create_exp_entry`).

The planner is placed in the navigation bar and requires a group, which leaves it to this menu
alone. Such a utility runs once, without a group, and lets the user choose the group in its own
pages; the checklist runs per group as usual.
"""

__VELMORA_PLUGIN_NAME__ = "experiment_tools"


def utility_server_register() -> list[dict]:
    return [
        {
            "utility_name": "experiment_planner",
            "title": "实验规划",
            "en_title": "Experiment planner",
            "description": "为任一设备组规划实验步骤。",
            "en_description": "Plans the steps of an experiment for any device group.",
            "script_path": "experiment_planner.py",
            "icon_path": "experiment.svg",
            "require_group_name": True,
            "display_location": "navbar",
            "create_exp_entry": True,
        },
        {
            "utility_name": "experiment_checklist",
            "title": "实验检查表",
            "en_title": "Experiment checklist",
            "description": "实验开始前的检查。",
            "en_description": "What to check before an experiment begins.",
            "script_path": "experiment_checklist.py",
            "icon_path": "experiment.svg",
            "require_group_name": True,
            "create_exp_entry": True,
        },
    ]
