/** Whether the keyboard has a Cmd key. */
export const isMac = /Mac|iPhone|iPad/.test(navigator.platform);
