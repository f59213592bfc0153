// Formats figures as the tables show them: three digits and a unit.

function round(x) {
  return x >= 100 ? x.toFixed(0) : x >= 10 ? x.toFixed(1) : x.toFixed(2);
}

export const times = (ratio) => `${round(ratio)} x`;

export function time(seconds) {
  const [unit, factor] = seconds < 1e-6 ? ["ns", 1e9] : seconds < 1e-3 ? ["us", 1e6] : ["ms", 1e3];
  return `${round(seconds * factor)} ${unit}`;
}

export const rate = (perSecond) => `${Math.round(perSecond).toLocaleString("en")} /s`;
export const percent = (share) => `${(share * 100).toFixed(2)} %`;
export const megabytes = (bytes) => `${(bytes / 1e6).toFixed(1)} MB`;
