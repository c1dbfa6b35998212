"""A checklist for one device group. The ticks live in the browser's page alone."""

from velmora_utility import Request, Utility

CHECKS = [
    ("气源已打开", "The gas supply is open"),
    ("样品已登记", "The sample is registered"),
    ("急停按钮已测试", "The emergency stop has been tested"),
]

utility = Utility("实验检查表", "Experiment checklist")


@utility.get("")
def index(request: Request) -> str:
    return "".join(
        f"<p><label><input type='checkbox'> {utility.text(*check)}</label></p>" for check in CHECKS
    )


utility.run()
