// Light, dark, or as the system has it.

const NAMES = { auto: "Auto", light: "Light", dark: "Dark" };
const ORDER = ["auto", "light", "dark"];

export class Theme {
  constructor(button, changed) {
    this.button = button;
    this.changed = changed;
    this.choice = "auto";
    this.system = matchMedia("(prefers-color-scheme: dark)");
    this.system.addEventListener("change", () => this.apply());
    button.addEventListener("click", () => this.next());
    this.apply();
  }

  next() {
    this.choice = ORDER[(ORDER.indexOf(this.choice) + 1) % ORDER.length];
    this.apply();
  }

  apply() {
    const isDark = this.choice === "dark" || (this.choice === "auto" && this.system.matches);
    document.documentElement.dataset.theme = isDark ? "dark" : "light";
    this.button.textContent = NAMES[this.choice];
    this.button.setAttribute("aria-label", `Light or dark: ${NAMES[this.choice]}`);
    this.changed();
  }
}
