// Chooses light or dark before anything is drawn, so this is a plain script and no module.
// "system" follows the browser's preference.
(() => {
  const name = "velmora.theme";
  const themes = ["system", "light", "dark"];

  function read() {
    try {
      const kept = localStorage.getItem(name);
      return kept && themes.includes(kept) ? kept : "system";
    } catch {
      return "system"; // storage is switched off
    }
  }

  /** @param {string} theme */
  function apply(theme) {
    document.documentElement.dataset.theme = theme;
  }

  function current() {
    return document.documentElement.dataset.theme ?? "system";
  }

  /** Goes on to the next theme and gives its name. */
  function next() {
    const theme = themes[(themes.indexOf(current()) + 1) % themes.length];
    apply(theme);
    try {
      localStorage.setItem(name, theme);
    } catch {
      // It holds for this page alone.
    }
    return theme;
  }

  apply(read());
  Object.assign(window, { velmoraTheme: { current, next } });
})();
