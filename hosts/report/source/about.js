// What a report says of itself: what was scanned, where and when, and what it lacks.

import { count, counted, shown, size, time } from "./words.js";

/** One line below the title. */
export function aboutLine(tree, step) {
  const { facts } = tree;
  const parts = [size(tree.bytes[0], step), counted(tree.below[0], "item")];
  if (facts.host) parts.push(`on ${shown(facts.host)}`);
  parts.push(`scanned ${time(facts.scannedAt)}`);
  return parts.join(" · ");
}

/** What a reader must know before believing it: a sentence each. */
export function notices(facts) {
  const { growth } = facts;
  const isOtherwiseScanned =
    growth && (growth.leftOut.join("\0") !== facts.leftOut.join("\0") || growth.crossesMounts !== facts.crossesMounts);
  const sentences = [
    [!facts.isComplete, "This scan was stopped before its end: items are missing, and folders look too small."],
    [facts.issues > 0, `${counted(facts.issues, "item")} could not be read when it was scanned.`],
    [facts.leftOut.length > 0, `Left out of the scan: ${facts.leftOut.map(shown).join(", ")}.`],
    [growth && !growth.isComplete, "The earlier scan was stopped before its end: what it did not reach looks new."],
    [
      isOtherwiseScanned,
      "The earlier scan was told to leave out other things: what only one of the two saw looks new, or gone.",
    ],
  ];
  return sentences.filter(([holds]) => holds).map(([, sentence]) => sentence);
}

/** At the foot of the page. */
export function origin(facts) {
  const scan = facts.number ? ` from scan ${facts.number}` : "";
  const file = facts.importedFrom ? `, imported from ${shown(facts.importedFrom)}` : "";
  const part =
    facts.shown < facts.items
      ? ` It shows the ${count(facts.shown)} largest of ${count(facts.items)} items, and sums of the others.`
      : "";
  return (
    `Made by kestrel ${facts.version} on ${time(facts.madeAt)}${scan}${file}.${part} ` +
    "Sizes are what is taken on the disk; of several names of one file only the first counts."
  );
}
