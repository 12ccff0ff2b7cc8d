// The types of methods, as services publish them: "(string, list<float>) -> future<void>".

/** @typedef {{kind: string, element?: Type}} Type kinds: bool, int, float, string, value, list, void, future */

/** Reads one type. Unknown words are taken for "value", which takes anything. @returns {Type} */
export function parseType(text) {
  const word = text.trim();
  const of = /^(list|future)<(.*)>$/.exec(word);
  if (of) return { kind: of[1], element: parseType(of[2]) };
  return { kind: ["bool", "int", "float", "string", "void"].includes(word) ? word : "value" };
}

/** @returns {{parameters: Type[], result: Type}} */
export function parseSignature(text) {
  const arrow = text.lastIndexOf("->");
  const list = (arrow < 0 ? text : text.slice(0, arrow)).trim().replace(/^\(|\)$/g, "");
  const result = parseType(arrow < 0 ? "void" : text.slice(arrow + 2));
  return { parameters: splitTop(list).map(parseType), result };
}

/** Splits at the commas that stand outside of brackets. */
function splitTop(text) {
  const parts = [];
  let depth = 0, part = "";
  for (const letter of text) {
    if (letter === "<" || letter === "(") ++depth;
    if (letter === ">" || letter === ")") --depth;
    if (letter === "," && depth === 0) {
      parts.push(part);
      part = "";
    } else {
      part += letter;
    }
  }
  if (part.trim() !== "") parts.push(part);
  return parts;
}
