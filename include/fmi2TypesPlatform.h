/* Types of the FMI 2.0 interface on the platform "default" (FMI 2.0.4, section 2.1.2): the importer
 * compares that name with fmi2GetTypesPlatform before it calls anything else. */
#ifndef fmi2TypesPlatform_h
#define fmi2TypesPlatform_h

#define fmi2TypesPlatform "default"

/* Opaque handles: the instance, the importer's own data, and a saved state of the instance. */
typedef void* fmi2Component;
typedef void* fmi2ComponentEnvironment;
typedef void* fmi2FMUstate;

/* Names a variable of one base type within an FMU. */
typedef unsigned int fmi2ValueReference;

typedef double fmi2Real;
typedef int fmi2Integer;
typedef int fmi2Boolean;
typedef char fmi2Char;
typedef const fmi2Char* fmi2String; /* UTF-8, NUL-terminated */
typedef char fmi2Byte;

#define fmi2True 1
#define fmi2False 0

#endif
