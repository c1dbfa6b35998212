"""The frame that all pages of the sample utilities share."""

from html import escape

from velmora_utility.command_line import Options

STYLE = """
:root { color-scheme: light dark; --ink: #22303c; --paper: #f6f8fa; --surface: #fff; --muted: #5b6a78;
        --line: #e3e8ed; --edge: #8593a0; --button: #1769aa; --bad: #b3261e; --good: #1b7a3d; }
@media (prefers-color-scheme: dark) { :root { --ink: #e4eaef; --paper: #10171c; --surface: #19232a;
        --muted: #9fb0bd; --line: #2b3842; --edge: #6c7d8a; --button: #2472b3; --bad: #ff9f95;
        --good: #7fd39b; } }
body { font: 16px/1.5 system-ui, sans-serif; max-width: 44rem; margin: 2rem auto; padding: 0 1rem;
       color: var(--ink); background: var(--paper); }
main { background: var(--surface); border-radius: 10px; padding: 1rem 1.5rem;
       box-shadow: 0 1px 4px #0002; }
h1 { font-size: 1.4rem; } h1 small { color: var(--muted); font-weight: normal; }
table { border-collapse: collapse; width: 100%; } th, td { text-align: left; padding: .3rem .6rem; }
tr + tr { border-top: 1px solid var(--line); }
input, select, button { font: inherit; padding: .25rem .5rem; margin: .15rem 0; max-width: 100%;
                        box-sizing: border-box; }
input, select { border: 1px solid var(--edge); border-radius: 5px; color: var(--ink);
                background: var(--paper); }
button { background: var(--button); color: #fff; border: 0; border-radius: 5px; cursor: pointer; }
.big { font-size: 2rem; margin: .5rem 0; } .bad { color: var(--bad); } .good { color: var(--good); }
footer { color: var(--muted); font-size: .8rem; margin-top: 1rem; }
"""


def page(options: Options, title: str, content: str) -> str:
    """A whole HTML page around `content`. All texts but `content` are escaped here."""
    group = f" <small>{escape(options.group_name)}</small>" if options.group_name else ""
    return (
        f'<!DOCTYPE html>\n<html lang="{escape(options.lang)}">\n<head>\n<meta charset="utf-8">\n'
        '<meta name="viewport" content="width=device-width">\n'
        f"<title>{escape(title)}</title>\n<style>{STYLE}</style>\n</head>\n<body>\n"
        f"<h1>{escape(title)}{group}</h1>\n<main>\n{content}\n</main>\n"
        f"<footer>{escape(options.utility_name)} &middot; {escape(options.server_id)}</footer>\n"
        "</body>\n</html>\n"
    )
