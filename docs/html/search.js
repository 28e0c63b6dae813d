// The search of the reference: each word of the question has to stand somewhere in a section, be it in the middle of a word.
// searchIndex, in search_index.js, has a row a section: page, heading, address, text.
(function () {
  "use strict";
  const most = 60;
  const field = document.querySelector("#question");
  const list = document.querySelector("#results");
  const summary = document.querySelector("#summary");
  const sections = searchIndex.map(([page, heading, address, text]) =>
    ({page, heading, address, text, inHeading: heading.toLowerCase(), inText: text.toLowerCase()}));

  // A heading that is the word counts more than one that begins with it, and that more than one that holds it.
  function weight(section, words) {
    let sum = 0;
    for (const word of words) {
      const at = section.inHeading.indexOf(word);
      if (at >= 0)
        sum += section.inHeading.replace(/\(\)$/, "") === word ? 100 : at === 0 ? 50 : 20;
      else if (section.inText.includes(word))
        sum += 1;
      else
        return 0;
    }
    return sum;
  }

  // Appends the text with each of the words marked.
  function appendMarked(parent, text, words) {
    const lower = text.toLowerCase();
    let position = 0;
    while (position < text.length) {
      let at = text.length, length = 0;
      for (const word of words) {
        const found = lower.indexOf(word, position);
        if (found >= 0 && found < at)
          [at, length] = [found, word.length];
      }
      parent.append(text.slice(position, at));
      if (length === 0)
        return;
      const mark = document.createElement("mark");
      mark.textContent = text.slice(at, at + length);
      parent.append(mark);
      position = at + length;
    }
  }

  function excerpt(section, words) {
    const places = words.map(word => section.inText.indexOf(word)).filter(place => place >= 0);
    const start = Math.max(0, (places.length ? Math.min(...places) : 0) - 80);
    const end = Math.min(section.text.length, start + 240);
    return (start > 0 ? "… " : "") + section.text.slice(start, end) + (end < section.text.length ? " …" : "");
  }

  function show() {
    const words = field.value.toLowerCase().split(/\s+/).filter(word => word);
    list.replaceChildren();
    if (words.length === 0) {
      summary.textContent = "";
      return;
    }
    const found = sections.map(section => ({section, value: weight(section, words)})).filter(row => row.value > 0);
    found.sort((a, b) => b.value - a.value);
    summary.textContent = found.length === 0 ? "Nothing found." :
      found.length > most ? `${found.length} sections, the first ${most}:` : `${found.length} sections:`;
    for (const {section} of found.slice(0, most)) {
      const item = document.createElement("li"), link = document.createElement("a"), text = document.createElement("p");
      link.href = section.address;
      appendMarked(link, section.heading, words);
      item.append(link);
      if (section.page !== section.heading)
        item.append(" in " + section.page);
      appendMarked(text, excerpt(section, words), words);
      item.append(text);
      list.append(item);
    }
  }

  field.value = new URLSearchParams(location.search).get("q") || "";
  field.addEventListener("input", show);
  show();
  field.focus();
})();
