// Builds the browser page into the directory given as the first argument:
// the page, its script, and noVNC (from node_modules, installed by `npm ci`)
// joined into one plain script, so that any HTTP server can serve it as is.
'use strict';
const fs = require('fs');
const path = require('path');

const out = path.resolve(process.argv[2] || 'out');
const novnc = path.join(__dirname, 'node_modules', '@novnc', 'novnc');
if (!fs.existsSync(path.join(novnc, 'lib', 'rfb.js'))) {
    console.error('noVNC is missing: run `npm ci` in ' + __dirname);
    process.exit(1);
}

// Every module of noVNC's lib/ as a function of (require, module, exports), by
// its path from the package's root.
function modules(dir, list) {
    for (const name of fs.readdirSync(dir).sort()) {
        const file = path.join(dir, name);
        if (fs.statSync(file).isDirectory()) modules(file, list);
        else if (name.endsWith('.js')) list.push(file);
    }
    return list;
}
let bundle = '// noVNC ' + require(path.join(novnc, 'package.json')).version +
    ' (MPL-2.0, see LICENSE-noVNC.txt), joined by build.js\n(function () {\nvar defs = {};\n';
for (const file of modules(path.join(novnc, 'lib'), [])) {
    const id = path.relative(novnc, file).split(path.sep).join('/');
    bundle += 'defs[' + JSON.stringify(id) + '] = function (require, module, exports) {\n' +
        fs.readFileSync(file, 'utf8') + '\n};\n';
}
bundle += `var cache = {};
function resolve(from, request) {
    var parts = from.split('/').slice(0, -1);
    request.split('/').forEach(function (p) {
        if (p === '..') parts.pop(); else if (p !== '.') parts.push(p);
    });
    return parts.join('/');
}
function load(id) {
    if (cache[id]) return cache[id].exports;
    if (!defs[id]) throw new Error('noVNC module missing: ' + id);
    var module = cache[id] = { exports: {} };
    defs[id](function (request) { return load(resolve(id, request)); }, module, module.exports);
    return module.exports;
}
window.noVNC_RFB = load('lib/rfb.js')["default"];
})();
`;
fs.mkdirSync(out, { recursive: true });
fs.writeFileSync(path.join(out, 'novnc.js'), bundle);
fs.copyFileSync(path.join(novnc, 'LICENSE.txt'), path.join(out, 'LICENSE-noVNC.txt'));
for (const name of ['index.html', 'vesk.js']) fs.copyFileSync(path.join(__dirname, name), path.join(out, name));
