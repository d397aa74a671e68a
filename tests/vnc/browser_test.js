// The browser page of the remote panel in headless Chromium: the page shows
// the panel pixel for pixel, a click opens a sub-menu, and a password is asked
// for and checked.
//
//   node browser_test.js PROGRAM MENU_DIR WEB_DIR
'use strict';
const { execFileSync, spawn } = require('child_process');
const fs = require('fs');
const net = require('net');
const os = require('os');
const path = require('path');

const [program, menu, webDir] = process.argv.slice(2);
const webSource = path.join(__dirname, '..', '..', 'web');
if (!fs.existsSync(path.join(webDir, 'index.html')) || !fs.existsSync(path.join(webSource, 'node_modules'))) {
    console.error('The browser page is not built: run `npm ci` in ' + webSource + ' (scripts/setup does) and build again.');
    process.exit(1);
}
const { chromium } = require(path.join(webSource, 'node_modules', 'playwright-core'));

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'vesk-browser-'));
const ROW = { x: 300, y: 133 };
// How long a picture may take to arrive before the test fails: a deadline, not a measure.
const DEADLINE_MS = 30000;

function rgbOfPng(file) {
    return execFileSync('convert', [file, '-alpha', 'off', 'rgb:-'], { maxBuffer: 64 << 20 });
}

function referencePictures() {
    const main = path.join(work, 'main.png'), sub = path.join(work, 'sub.png');
    execFileSync(program, ['--dir=' + menu, '--ozgi-video=headless', '--ozgi-script=-'],
                 { input: `screenshot ${main}\ntap ${ROW.x} ${ROW.y}\nscreenshot ${sub}\nquit\n` });
    return { main: rgbOfPng(main), sub: rgbOfPng(sub) };
}

function freePort() {
    return new Promise((resolve) => {
        const server = net.createServer();
        server.listen(0, '127.0.0.1', () => {
            const port = server.address().port;
            server.close(() => resolve(port));
        });
    });
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

async function startVesk(options) {
    const port = await freePort();
    const script = path.join(work, 'wait.txt');
    fs.writeFileSync(script, 'wait 3600000\n');
    const proc = spawn(program, ['--dir=' + menu, '--ozgi-video=headless', '--ozgi-script=' + script,
                                 '--ozgi-vnc=' + port, '--ozgi-vnc-web=' + webDir, ...options],
                       { stdio: ['ignore', 'inherit', 'inherit'] });
    const end = Date.now() + DEADLINE_MS;
    for (;;) {
        if (proc.exitCode !== null) throw new Error('vesk ended with ' + proc.exitCode);
        const up = await new Promise((resolve) => {
            const s = net.connect(port, '127.0.0.1', () => { s.destroy(); resolve(true); });
            s.on('error', () => resolve(false));
        });
        if (up) break;
        if (Date.now() > end) throw new Error('vesk does not serve the page');
        await sleep(100);
    }
    return { proc, port };
}

async function canvasRgb(page) {
    const b64 = await page.evaluate(() => {
        const c = document.querySelector('#screen canvas');
        if (!c || c.width === 0) return '';
        const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data;
        const rgb = new Uint8Array(c.width * c.height * 3);
        for (let i = 0, j = 0; i < d.length; i += 4) {
            rgb[j++] = d[i]; rgb[j++] = d[i + 1]; rgb[j++] = d[i + 2];
        }
        let s = '';
        for (let i = 0; i < rgb.length; i += 0x8000) s += String.fromCharCode.apply(null, rgb.subarray(i, i + 0x8000));
        return btoa(s);
    });
    return Buffer.from(b64, 'base64');
}

async function waitForPicture(page, expected, what) {
    const end = Date.now() + DEADLINE_MS;
    while (!(await canvasRgb(page)).equals(expected)) {
        if (Date.now() > end) throw new Error('the page never showed ' + what);
        await sleep(200);
    }
}

async function waitForStatus(page, text) {
    await page.waitForFunction((t) => document.getElementById('status').textContent.startsWith(t), text,
                               { timeout: DEADLINE_MS });
}

async function main() {
    const pictures = referencePictures();
    const context = await chromium.launchPersistentContext(path.join(work, 'profile'), {
        executablePath: '/usr/bin/chromium',
        headless: true,
        args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
               '--disable-component-update', '--disable-sync'],
        viewport: { width: 800, height: 900 },
    });
    const page = context.pages()[0] || await context.newPage();
    let vesk = await startVesk([]);
    try {
        await page.goto(`http://127.0.0.1:${vesk.port}/`);
        await waitForStatus(page, 'Connected');
        await waitForPicture(page, pictures.main, 'the first page');
        const box = await page.locator('#screen canvas').boundingBox();
        await page.mouse.click(box.x + ROW.x, box.y + ROW.y);
        await waitForPicture(page, pictures.sub, 'the sub-menu after the click');
    } finally {
        vesk.proc.kill('SIGTERM');
    }

    // With a password: a wrong one is refused, the right one shows the panel.
    const passwordFile = path.join(work, 'password');
    fs.writeFileSync(passwordFile, 'pa55word\n');
    vesk = await startVesk(['--ozgi-vnc-password-file=' + passwordFile]);
    try {
        await page.goto(`http://127.0.0.1:${vesk.port}/`);
        await waitForStatus(page, 'Password needed');
        await page.fill('#password', 'wrong');
        await page.click('#login button');
        await waitForStatus(page, 'Refused');
        await page.goto(`http://127.0.0.1:${vesk.port}/`);
        await waitForStatus(page, 'Password needed');
        await page.fill('#password', 'pa55word');
        await page.click('#login button');
        await waitForStatus(page, 'Connected');
        await waitForPicture(page, pictures.main, 'the first page behind the password');
    } finally {
        vesk.proc.kill('SIGTERM');
    }
    await context.close();
}

main().then(() => {
    fs.rmSync(work, { recursive: true, force: true });
    console.log('ok');
}, (e) => {
    console.error(e);
    fs.rmSync(work, { recursive: true, force: true });
    process.exit(1);
});
