"""A utility that can't start, to see how the Studio reports it.

The plugin itself loads: it names its script without running it. The script needs a module that
isn't installed, ends at once, and the last words of its standard error become the message for the
user.
"""

__VELMORA_PLUGIN_NAME__ = "missing_dependency"


def utility_server_register() -> list[dict]:
    return [
        {
            "utility_name": "spectrum_viewer",
            "title": "光谱查看器",
            "en_title": "Spectrum viewer",
            "description": "启动失败示例：缺少依赖模块。",
            "en_description": "Fails at its start, as a module is missing.",
            "script_path": "spectrum_viewer.py",
            "icon_path": "spectrum_viewer.svg",
        }
    ]
