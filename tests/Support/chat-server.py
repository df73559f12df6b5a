#!/usr/bin/python3
"""A chat-completion server on loopback, by aiohttp: chat-server.py [CERTIFICATE KEY]. Its port is the first line.

POST /chat?pieces=N   the reply that the question itself asks for, written N bytes at a time
POST /flood?events=N&rate=R   N events at R a second, each a word and the time of its writing in ns (monotonic clock)
"""
import asyncio
import json
import ssl
import sys
import time

from aiohttp import web


def event(text):
    content = {"choices": [{"delta": {"content": text}}]}
    return b"data: " + json.dumps(content, ensure_ascii=False).encode() + b"\r\n\r\n"


async def begin(request):
    response = web.StreamResponse(headers={"Content-Type": "text/event-stream"})
    await response.prepare(request)
    return response


async def chat(request):
    question = (await request.json())["messages"][-1]["content"]
    response = await begin(request)
    body = b": hello\r\n\r\n" + b"".join(event(word) for word in question.split("|")) + b"data: [DONE]\r\n\r\n"
    size = int(request.query["pieces"])
    for at in range(0, len(body), size):
        await response.write(body[at:at + size])
        await asyncio.sleep(0)
    return response


async def flood(request):
    count, rate = int(request.query["events"]), int(request.query["rate"])
    response = await begin(request)
    start = time.monotonic()
    sent = 0
    while sent < count:
        due = min(count, int((time.monotonic() - start) * rate) + 1)
        for _ in range(sent, due):
            await response.write(event(f"{time.monotonic_ns()}:word "))
        sent = due
        await asyncio.sleep(0.0005)
    return response


async def main():
    tls = None
    if len(sys.argv) > 2:
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(sys.argv[1], sys.argv[2])
    application = web.Application()
    application.add_routes([web.post("/chat", chat), web.post("/flood", flood)])
    runner = web.AppRunner(application)
    await runner.setup()
    site = web.TCPSite(runner, "127.0.0.1", 0, ssl_context=tls)
    await site.start()
    print(runner.addresses[0][1], flush=True)
    # Ends with who started it.
    await asyncio.get_running_loop().run_in_executor(None, sys.stdin.read)


asyncio.run(main())
