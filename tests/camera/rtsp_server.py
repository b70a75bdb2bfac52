#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""A camera's RTSP side on loopback: a moving picture as H.264 at /axis-media/media.amp, only for USER with PASSWORD.
Prints its port once it listens; ends when its standard input ends.   rtsp_server.py USER PASSWORD"""
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstRtspServer", "1.0")
from gi.repository import GLib, Gst, GstRtspServer  # noqa: E402

Gst.init(None)
user, password = sys.argv[1:3]
server = GstRtspServer.RTSPServer()
server.set_address("127.0.0.1")
server.set_service("0")

auth = GstRtspServer.RTSPAuth()
token = GstRtspServer.RTSPToken()
token.set_string("media.factory.role", "viewer")
auth.add_basic(GstRtspServer.RTSPAuth.make_basic(user, password), token)
server.set_auth(auth)

factory = GstRtspServer.RTSPMediaFactory()
factory.set_launch(
    "( videotestsrc is-live=true pattern=ball ! video/x-raw,width=160,height=120,framerate=10/1"
    " ! x264enc tune=zerolatency speed-preset=ultrafast key-int-max=10 ! rtph264pay name=pay0 pt=96 )")
factory.set_shared(True)
permissions = GstRtspServer.RTSPPermissions()
permissions.add_permission_for_role("viewer", "media.factory.access", True)
permissions.add_permission_for_role("viewer", "media.factory.construct", True)
factory.set_permissions(permissions)
server.get_mount_points().add_factory("/axis-media/media.amp", factory)
server.attach(None)
print(server.get_bound_port(), flush=True)

loop = GLib.MainLoop()
GLib.io_add_watch(0, GLib.PRIORITY_DEFAULT, GLib.IOCondition.HUP | GLib.IOCondition.ERR, lambda *_: loop.quit())
loop.run()
