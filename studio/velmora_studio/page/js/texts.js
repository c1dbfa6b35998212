/** The page's own texts, in English and Chinese. Texts of utilities come with their entries. */

/** @type {Record<string, [string, string]>} */
const texts = {
  skip: ["Skip to the workspace", "跳到工作区"],
  navbar: ["Navigation bar", "导航栏"],
  settings: ["Settings", "设置"],
  user: ["User", "用户"],
  language: ["Language", "语言"],
  theme_system: ["Theme: as the system", "主题：跟随系统"],
  theme_light: ["Theme: light", "主题：浅色"],
  theme_dark: ["Theme: dark", "主题：深色"],
  reconnecting: ["Reconnecting …", "正在重新连接…"],
  reconnectingHint: [
    "The Studio doesn't answer. What you see is how it last was.",
    "Studio 没有响应，显示的是最后已知的状态。",
  ],
  newStudio: ["A new Studio is there.", "新的 Studio 已启动。"],
  newStudioAdopted: [
    "A new Studio is there. It has adopted what the last one left running: {count}.",
    "新的 Studio 已启动，接管了仍在运行的工具：{count} 个。",
  ],

  catalogue: ["Catalogue", "目录"],
  utilities: ["Utilities", "工具"],
  utilitiesHint: ["Each runs once for the whole Studio.", "每个工具在整个 Studio 中只运行一份。"],
  refresh: ["Refresh", "刷新"],
  refreshed: ["The catalogue is up to date: {count} utilities.", "目录已更新：{count} 个工具。"],
  deviceGroup: ["Device group", "设备组"],
  groupHint: [
    "Each runs once per group; instances of different groups share nothing.",
    "每个设备组各运行一份，互不共享。",
  ],
  noGroup: ["There is no device group.", "没有设备组。"],
  create: ["Create experiment", "新建实验"],
  createHint: ["For the device group {group}.", "设备组：{group}。"],
  loading: ["Asking the Studio …", "正在读取…"],
  emptyDefault: [
    "No plugin offers a utility here yet. Add a plugin's directory to plugin_includes.txt in the " +
      "Studio's configuration, then press Refresh.",
    "还没有插件提供工具。请把插件目录加入 Studio 配置中的 plugin_includes.txt，然后点“刷新”。",
  ],
  emptyGroup: [
    "Nothing for this group that the user “{user}” may use.",
    "这个设备组没有用户“{user}”可以使用的工具。",
  ],
  accessHint: ["You see what the user “{user}” may use. {role}", "显示用户“{user}”可以使用的工具。{role}"],
  role_SYS_ADMIN: ["A system administrator may use everything.", "系统管理员可以使用全部工具。"],
  role_ORG_ADMIN: [
    "An organisation administrator sees more in the groups of that organisation.",
    "组织管理员在本组织的设备组中可见更多工具。",
  ],
  role_ORG_MEMBER: [
    "A member doesn't see what is for administrators.",
    "普通成员看不到管理员专用的工具。",
  ],
  markPersistent: ["Persistent: goes on when the Studio closes", "常驻：Studio 关闭后继续运行"],
  markSYS_ADMIN: ["For system administrators", "仅限系统管理员"],
  markORG_ADMIN: ["For administrators of the organisation", "仅限组织管理员"],
  markDeferred: ["You choose the group inside", "设备组在工具内选择"],

  start: ["Start", "启动"],
  startAgain: ["Start again", "重新启动"],
  starting: ["Starting", "正在启动"],
  open: ["Open", "打开"],
  stop: ["Stop", "停止"],
  stopping: ["Stopping", "正在停止"],
  running: ["Running", "运行中"],
  actionOn: ["{action} {title}", "{action}{title}"],
  inGroup: ["{title} ({group})", "{title}（{group}）"],
  watching: ["Watching its first 1.5 s", "观察最初 1.5 秒"],
  startAndOpen: ["Start and open", "启动并打开"],
  tryAgain: ["Try again", "重试"],
  toStudio: ["To the Studio", "返回 Studio"],
  waiting: ["It runs, but doesn't answer yet. Trying again …", "已在运行，但还没有响应，正在重试…"],
  openInTab: ["Open in a tab", "在新标签页打开"],
  reload: ["Reload", "重新加载"],
  close: ["Close", "关闭"],
  cancel: ["Cancel", "取消"],
  dismiss: ["Dismiss", "知道了"],
  nowRunning: ["{title} is running.", "{title}已在运行。"],
  ended: ["Ended", "已结束"],
  hasEnded: ["{title} has ended.", "{title}已结束。"],
  endedByItself: ["{title} has ended by itself.", "{title}已自行结束。"],
  startFailed: ["{title} could not be started.", "{title}启动失败。"],
  stopFailed: ["{title} could not be stopped and runs on.", "{title}未能停止，仍在运行。"],
  requestFailed: ["That didn't work.", "操作未成功。"],
  noAnswer: ["The Studio doesn't answer.", "Studio 没有响应。"],

  workspace: ["Workspace", "工作区"],
  openUtilities: ["Open utilities", "已打开的工具"],
  overview: ["Overview", "概览"],
  runningNow: ["Running now", "正在运行"],
  runningCount: ["{count} running", "{count} 个运行中"],
  stopAll: ["Stop all", "全部停止"],
  stopAllAsk: ["Stop everything?", "全部停止？"],
  stopAllText: [
    "This ends all that you see running ({count}), persistent ones too.",
    "将结束所有正在运行的工具（{count} 个），包括常驻的。",
  ],
  utility: ["Utility", "工具"],
  group: ["Group", "设备组"],
  port: ["Port", "端口"],
  process: ["Process", "进程"],
  age: ["Runs for", "已运行"],
  actions: ["Actions", "操作"],
  noGroupHere: ["whole Studio", "整个 Studio"],
  own: ["started here", "本次启动"],
  adopted: ["adopted", "接管"],
  persistent: ["persistent", "常驻"],
  lastLines: ["Last lines", "最近输出"],
  lastLinesOf: ["Last lines of {title}", "{title}的最近输出"],
  linesRunning: ["What it last wrote to standard error.", "标准错误中的最后几行。"],
  linesEnded: ["It has ended. These were its last words.", "已结束，以下是最后的输出。"],
  linesAdopted: [
    "An earlier Studio started it, so what it writes isn't kept here.",
    "由之前的 Studio 启动，这里没有保存它的输出。",
  ],
  noLines: ["Nothing yet.", "暂无输出。"],
  readAgain: ["Read again", "重新读取"],
  emptyRunning: ["Nothing runs yet", "目前没有运行的工具"],
  emptyRunningHint: [
    "Start a utility from the catalogue. It becomes a process of its own with a port of its own, " +
      "and appears here.",
    "从目录中启动一个工具：它会成为独立进程，占用自己的端口，并显示在这里。",
  ],
  seconds: ["{s} s", "{s} 秒"],
  minutes: ["{m} min {s} s", "{m} 分 {s} 秒"],
  hours: ["{h} h {m} min", "{h} 小时 {m} 分"],
  days: ["{d} d {h} h", "{d} 天 {h} 小时"],

  guide: ["How it works", "工作原理"],
  guideUtility: ["A utility", "工具"],
  guideUtilityText: [
    "A small application that a plugin brings along: a script with pages of its own. The Studio " +
      "runs it as a child process on a local port and shows it at an address of its own.",
    "插件附带的小应用：自带页面的脚本。Studio 把它作为子进程运行在本地端口上，并转发到自己的地址。",
  ],
  guideGroup: ["Per group", "按设备组"],
  guideGroupText: [
    "Some utilities run once for the whole Studio, others once for each device group, side by " +
      "side. A second start of what already runs is refused.",
    "有的工具在整个 Studio 中只运行一份，有的每个设备组各一份。已在运行的不能再次启动。",
  ],
  guideStart: ["A start", "启动"],
  guideStartText: [
    "The Studio watches a new process for 1.5 seconds. If it ends within that time, the start " +
      "has failed, and you see its last words here.",
    "Studio 会观察新进程 1.5 秒。若它在此期间结束，则启动失败，并显示其最后的输出。",
  ],
  guidePersistent: ["Persistent", "常驻"],
  guidePersistentText: [
    "A persistent utility goes on running when the Studio closes. All others end with it.",
    "常驻工具在 Studio 关闭后继续运行，其他工具随之结束。",
  ],
  guideAdopted: ["Adopted", "接管"],
  guideAdoptedText: [
    "What an earlier Studio left running, this one found and took over: same process, same port, " +
      "nothing lost.",
    "之前的 Studio 留下的仍在运行的工具由当前 Studio 接管：进程和端口不变，数据不丢失。",
  ],
  guideAccess: ["Who may use what", "访问权限"],
  guideAccessText: [
    "Utilities may be for everybody, for administrators of the organisation that owns a group, or " +
      "for system administrators. Choose another user above to see the difference.",
    "工具可对所有人、设备组所属组织的管理员或系统管理员开放。在上方切换用户即可看到区别。",
  ],
  studioAddress: ["Studio at {gui}, process {pid}.", "Studio 地址 {gui}，进程 {pid}。"],
};

let language = navigator.language.startsWith("zh") ? "zh" : "en";

/** @returns {string} "zh" or "en" */
export function currentLanguage() {
  return language;
}

/**
 * @param {string} name
 * @param {Record<string, string|number>} [values] for the places marked {name}
 */
export function t(name, values = {}) {
  const text = texts[name][language === "zh" ? 1 : 0];
  return text.replace(/\{(\w+)\}/g, (_, key) => String(values[key] ?? ""));
}

/** @param {string} name */
export function hasText(name) {
  return Object.hasOwn(texts, name);
}

/**
 * Changes the language of the page: the root's `lang`, and the texts and labels that the markup
 * names by `data-text` and `data-label`.
 *
 * @param {string} chosen
 */
export function setLanguage(chosen) {
  language = chosen === "zh" ? "zh" : "en";
  document.documentElement.lang = language === "zh" ? "zh-CN" : "en";
  for (const node of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-text]"))) {
    node.textContent = t(node.dataset.text ?? "");
  }
  for (const node of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-label]"))) {
    node.setAttribute("aria-label", t(node.dataset.label ?? ""));
  }
}
