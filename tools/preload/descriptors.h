// The descriptors that the JVM keeps open. It leaves them to every child of the program; here they
// are closed when the child, or the process itself, runs another program. And what the JVM reports
// when the program crashes goes to stderr.
#pragma once

// To be called once, before the JVM starts and before the first fork.
void prepareDescriptors() noexcept;
