# Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
# What processes say to one another. Both ends are always of the same build: nothing here is kept
# for older peers.
@0xd5c1a9b7e2f04386;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("android::hardware::wire");

# The contents of a Parcel: its words as bytes, and what they refer to by position.
struct Contents {
    words @0 :Data;
    objects @1 :List(Object);
    descriptors @2 :List(Descriptor);
}

# A HIDL object.
interface Object {
    # flags: 1 for oneway. chain: see RpcThreads.h. status: a status_t; contents count if it is 0.
    transact @0 (code :UInt32, flags :UInt32, chain :UInt64, contents :Contents)
            -> (status :Int32, contents :Contents);
}

# A file descriptor; it travels beside the message that mentions it.
interface Descriptor {
}

# What a service's socket offers at once.
interface Door {
    enter @0 () -> (object :Object);
}
