// Runs the cases on standard input with modbus-serial, each on a connection of its own; lines as clients.py tells.
"use strict";

const readline = require("readline");
const ModbusRTU = require(require.resolve("modbus-serial", { paths: [process.cwd()] }));

const wordsToWrite = (count) => Array.from({ length: count }, (_, i) => 0x1200 + i);
const bitsToWrite = (count) => Array.from({ length: count }, (_, i) => i % 3 === 0);

const calls = {
    0x01: (c, r) => c.readCoils(r.address, r.count),
    0x02: (c, r) => c.readDiscreteInputs(r.address, r.count),
    0x03: (c, r) => c.readHoldingRegisters(r.address, r.count),
    0x04: (c, r) => c.readInputRegisters(r.address, r.count),
    0x05: (c, r) => c.writeCoil(r.address, true),
    0x06: (c, r) => c.writeRegister(r.address, wordsToWrite(1)[0]),
    0x0f: (c, r) => c.writeCoils(r.address, bitsToWrite(r.count)),
    0x10: (c, r) => c.writeRegisters(r.address, wordsToWrite(r.count)),
    0x11: (c, r) => c.reportServerID(0, 0),
    0x16: (c, r) => c.maskWriteRegister(r.address, 0xffff, 0),
    0x17: (c, r) => c.readWriteRegisters(r.address, r.count, r.writeAddress, r.writeCount,
        wordsToWrite(r.writeCount)),
    0x2b: (c) => c.readDeviceIdentification(1, 0),
};

function failure(error) {
    if (error.modbusCode !== undefined) return `exception ${error.modbusCode}`;
    if (error.errno === "ETIMEDOUT" || error.name === "TransactionTimedOutError") return "time-out";
    if (/must be an integer from/.test(error.message)) return "own limit"; // nothing was sent
    return `error: ${error.message}`;
}

async function result(client, request) {
    const call = calls[request.function];
    if (call === undefined) return "not offered";
    try {
        const reply = await call(client, request);
        if ([0x06, 0x10].includes(request.function)) {
            const back = await client.readHoldingRegisters(request.address, request.count);
            return back.data.join() === wordsToWrite(request.count).join() ? "ok" : "error: read back otherwise";
        }
        const values = [0x03, 0x04, 0x17].includes(request.function) ? reply.data : [];
        return ["ok", ...values].join(" ");
    } catch (error) {
        return failure(error);
    }
}

async function main() {
    for await (const line of readline.createInterface({ input: process.stdin })) {
        const [code, unit, address, count, writeAddress, writeCount] = line.split(" ").map(Number);
        const client = new ModbusRTU();
        await client.connectTCP(process.argv[2], { port: Number(process.argv[3]) });
        client.setID(unit);
        client.setTimeout(2000);
        console.log(await result(client, { function: code, unit, address, count, writeAddress, writeCount }));
        await new Promise((resolve) => client.close(resolve));
    }
}

main();
