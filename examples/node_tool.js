// A Node.js tool that ends in order when the launcher asks it to.
'use strict';

const net = require('net');

// Calls back once, when this process is to end; never, if there is no launcher.
//
// The launcher disconnects right after it has sent the word, and net.connect may lose what it
// hasn't read by then. So the word isn't looked at: the end of the connection is the request. Not
// fs.read, which gets the word, but keeps process.exit from ending the process until then.
function listenForStop(onStop) {
    const pipe = net.connect('\\\\.\\pipe\\zqLauncher_' + process.pid);
    pipe.once('connect', () => pipe.once('close', onStop));
    pipe.on('error', () => {}); // no launcher, or the break that comes before 'close'
    pipe.resume();
    pipe.unref(); // a tool whose work is done ends by itself
}

// A tool's work: "node node_tool.js 500" works for 500 ms and ends with 6, else for ever.
const work = setInterval(() => {}, 20);
if (process.argv.length > 2) {
    setTimeout(() => process.exit(6), Number(process.argv[2]));
}
console.log('working');

listenForStop(() => {
    clearInterval(work);
    console.log('asked to end, all is saved');
    process.exitCode = 0; // the service reports a tool's exit code as its own
});
