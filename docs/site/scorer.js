// What a search puts first: pages for users before those of the rooms, of sources and of old changes.
var Scorer = {
  score: ([docname, , , , score]) => score - (/^(rooms|sources|changelog|benchmarks|rows_)/.test(docname) ? 4 : 0),
  objNameMatch: 11,
  objPartialMatch: 6,
  objPrio: { 0: 15, 1: 5, 2: -5 },
  objPrioDefault: 0,
  title: 15,
  partialTitle: 7,
  term: 5,
  partialTerm: 2,
};
