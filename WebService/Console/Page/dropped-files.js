// The files and folders of a drop or of a choice, one after another.

/** What was dropped, each folder before what is in it. The walk goes into a folder when `finish` of it was called, and
    leaves out what is in it after `finish(false)`. */
export async function* entriesBelow(entries, parent) {
  for (const entry of entries) {
    const path = parent + entry.name;
    if (entry.isFile) {
      yield { path, file: await new Promise((found, failed) => entry.file(found, failed)).catch((error) => error) };
      continue;
    }
    const folder = { path: `${path}/`, file: null };
    const finished = new Promise((finish) => { folder.finish = finish; });
    yield folder;
    if (await finished) {
      const reader = entry.createReader();
      for (;;) {
        const some = await new Promise((found, failed) => reader.readEntries(found, failed));
        if (some.length === 0) {
          break;
        }
        yield* entriesBelow(some, `${path}/`);
      }
    }
  }
}

/** The files that were chosen, each folder of their paths before what is in it. */
export async function* chosenFiles(files) {
  const folders = new Map();
  for (const file of files) {
    const path = file.webkitRelativePath || file.name;
    let usable = true;
    for (let at = path.indexOf("/"); at >= 0 && usable; at = path.indexOf("/", at + 1)) {
      const folder = { path: path.slice(0, at + 1), file: null };
      if (!folders.has(folder.path)) {
        const finished = new Promise((finish) => { folder.finish = finish; });
        yield folder;
        folders.set(folder.path, await finished);
      }
      usable = folders.get(folder.path);
    }
    if (usable) {
      yield { path, file };
    }
  }
}
