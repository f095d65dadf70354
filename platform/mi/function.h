/* Records that carry parameter blocks: a shader with its parameters, and a user data block. */
#pragma once

#include "codes.h"
#include "types.h"

/* One shader with its parameters. The user pointer and the locks are reached by mi_query only. */
struct miFunction {
    miPointer sparep1[7];
    miFunction_type type;
    miUint out_typemap;
    miUint out_interpmap;
    miTag function_decl;
    miTag next_function; /* next of a shader list */
    miTag parameter_indirect;
    miTag interfacephen;
    int spare0;
    int parameter_size; /* bytes */
    int result_size;
    int ghost_offs; /* bytes from a parameter to its ghost tag, 0 = no ghosts */
    miTag pass_read;
    miTag pass_write;
    miSint1 pass_maxsamples;
    miUint1 has_connections; /* 1 = at least one parameter is connected */
    miUint1 spare2[2];
    miUint1 no_expl_params;
    miUint1 spare3[6];
    miUint1 label;
    char parameters[8]; /* the block, laid out like a C record, then the ghost tags; longer than declared */
};

/* Data that the scene attaches to options, cameras, instances, objects and lights. */
typedef struct miUserdata {
    miTag data_decl;
    miTag next_data; /* next block of the chain */
    miUint label;
    int parameter_size; /* bytes */
    short one;          /* 1; reads as 256 when written with the other byte order */
    short spare1;
    int spare2;
    char parameters[8]; /* the block, longer than declared */
} miUserdata;
