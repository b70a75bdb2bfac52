// SPDX-License-Identifier: GPL-3.0-or-later
// Has nothing of its own: its target is what the precompiled headers are built for.
