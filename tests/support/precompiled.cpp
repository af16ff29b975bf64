// SPDX-License-Identifier: Apache-2.0
// Nothing of its own: the precompiled headers of the tests need a target that makes them.
