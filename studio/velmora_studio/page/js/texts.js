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
  refreshed: ["The catalogue is up to date.", "目录已更新。"],
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
  noLines: ["Nothing yet.", "暂无输出。"],
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

  search: ["Search", "搜索"],
  searchCatalogue: ["Search the catalogue", "搜索目录"],
  searchHint: ["Search   ( / )", "搜索   ( / )"],
  filterRunning: ["Running", "运行中"],
  filterPlugin: ["Plugin", "插件"],
  allPlugins: ["All plugins", "全部插件"],
  countOf: ["{count} of {all}", "{count} / {all}"],
  nothingFound: ["Nothing here fits the search.", "没有符合条件的工具。"],
  foldCatalogue: ["Show or hide the catalogue", "显示或隐藏目录"],
  favourite: ["Mark as favourite", "收藏"],
  unfavourite: ["No longer a favourite", "取消收藏"],
  more: ["More", "更多"],

  configure: ["Start with configuration …", "按配置启动…"],
  configureTitle: ["Start {title} with a configuration", "按配置启动{title}"],
  configFormHint: ["What is left empty is left out.", "留空的项目不会传递。"],
  configJsonHint: [
    "The utility says nothing of its configuration, so this is the JSON object that it gets.",
    "该工具没有说明其配置项，请直接填写传给它的 JSON 对象。",
  ],
  configJson: ["Configuration (JSON)", "配置（JSON）"],
  range: ["From {low} to {high}.", "范围：{low} 到 {high}。"],
  faultMissing: ["This is needed.", "此项必填。"],
  faultNumber: ["This must be a number.", "请输入数字。"],
  faultInteger: ["This must be a whole number.", "请输入整数。"],
  faultRange: ["This must be from {minimum} to {maximum}.", "请输入 {minimum} 到 {maximum} 之间的值。"],
  faultLength: ["This is too short or too long.", "长度不符合要求。"],
  faultPattern: ["This doesn't fit the form {pattern}.", "格式应符合 {pattern}。"],
  faultJson: ["This is no valid JSON: {reason}", "JSON 无效：{reason}"],
  faultType: ["This must be a JSON value of the type {type}.", "JSON 值的类型应为 {type}。"],

  restart: ["Restart", "重启"],
  silent: ["Doesn't answer", "没有响应"],
  notRunning: ["Not running", "未运行"],
  notRunningText: ["It isn't running.", "该工具没有运行。"],
  waitsForStop: ["Waits for a stop to end", "等待停止操作完成"],
  waitsForAnswer: ["Starting: waits for an answer", "正在启动，等待响应"],
  waiting: ["It has been started. Its page comes as soon as it answers on port {port}.", "已启动。一旦在端口 {port} 上响应，就会显示页面。"],
  silentText: [
    "It runs, but hasn't answered on port {port} for 30 seconds. Its last lines may tell why.",
    "正在运行，但 30 秒内没有在端口 {port} 上响应。最近输出可能说明原因。",
  ],
  insist: ["Load its page all the same", "仍然加载页面"],
  openInTab: ["Open in a tab", "在新标签页打开"],
  reload: ["Reload its first page", "重新加载首页"],
  whole: ["Whole window", "占满窗口"],
  notWhole: ["Back into the Studio", "退出占满窗口"],
  page: ["Page", "页面"],
  details: ["Details", "详细信息"],
  stopAsk: ["Stop {title}?", "停止{title}？"],
  stopAskText: [
    "It is persistent: it would go on when the Studio closes.",
    "它是常驻工具：关闭 Studio 后本会继续运行。",
  ],

  bySignal: ["The signal {signal} has ended it.", "被信号 {signal} 终止。"],
  withCode: ["Its exit code was {code}.", "退出代码为 {code}。"],
  past: ["Ended and failed", "已结束和失败"],
  cpu: ["Processor", "处理器"],
  memory: ["Memory", "内存"],
  processCount: ["{count} processes", "{count} 个进程"],

  searchLines: ["Search the lines", "搜索输出"],
  linesFound: ["{count} of {all} lines", "{count} / {all} 行"],
  follow: ["Follow", "跟随"],
  linesRunning: ["What it writes to standard error.", "标准错误输出。"],
  linesEnded: ["It has ended by itself. These were its last words.", "已自行结束，以下是最后的输出。"],
  linesNone: ["It isn't running.", "该工具没有运行。"],
  linesAdopted: [
    "An earlier Studio started it, so what it writes isn't kept here. After a restart it will be.",
    "由之前的 Studio 启动，这里没有保存它的输出；重启后会保存。",
  ],

  factName: ["Name", "名称"],
  factAbout: ["Description", "说明"],
  factPlugin: ["Plugin", "插件"],
  factDirectory: ["Plugin's directory", "插件目录"],
  factScript: ["Script", "脚本"],
  factAccess: ["Who may use it", "访问权限"],
  accessALL: ["Everybody", "所有人"],
  accessSYS_ADMIN: ["System administrators", "系统管理员"],
  accessORG_ADMIN: ["Administrators of the organisation", "组织管理员"],
  factRuns: ["Runs", "运行方式"],
  factPerGroup: ["once per device group", "每个设备组一份"],
  factOnce: ["once for the whole Studio", "整个 Studio 一份"],
  factPersistent: ["Persistent", "常驻"],
  factRoute: ["First page", "首页"],
  factUrl: ["Address through the Studio", "Studio 转发地址"],
  factLocalUrl: ["Address of its own", "本地地址"],
  factConfig: ["Configuration", "配置"],
  factCommandLine: ["Command line", "命令行"],
  yes: ["yes", "是"],
  no: ["no", "否"],

  plugins: ["Plugins", "插件"],
  pluginsHint: [
    "What each plugin offers, and what could not be taken into the catalogue. Refresh reads them anew.",
    "各插件提供的工具，以及未能进入目录的内容。点“刷新”可重新读取。",
  ],
  pluginRefused: ["It could not be loaded: {reason}", "无法加载：{reason}"],
  pluginOffers: ["Offers {names}", "提供：{names}"],
  problemCount: ["{count} to mend", "{count} 个问题"],

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
 * Changes the language of the page: the root's `lang`, and the texts, labels and hints that the
 * markup names by `data-text`, `data-label` and `data-hint`.
 *
 * @param {string} chosen
 */
export function setLanguage(chosen) {
  language = chosen === "zh" ? "zh" : "en";
  document.documentElement.lang = language === "zh" ? "zh-CN" : "en";
  for (const node of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-text]"))) {
    node.textContent = t(node.dataset.text ?? "");
  }
  for (const node of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-hint]"))) {
    node.setAttribute("placeholder", t(node.dataset.hint ?? ""));
  }
  for (const node of /** @type {NodeListOf<HTMLElement>} */ (document.querySelectorAll("[data-label]"))) {
    node.setAttribute("aria-label", t(node.dataset.label ?? ""));
  }
}
