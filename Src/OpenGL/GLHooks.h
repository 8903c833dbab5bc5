// Where the library looks at GL errors. Both report through the trace category "GL" and cost
// nothing while it is off: level 1 carries errors, level 3 the driver's other messages. A host
// (or a test) that turns the category on before the contexts are made gets every error of the
// library's GL calls in its trace, at the call that caused it.
#pragma once

namespace STN {

// Takes and reports the errors pending on the current context; where the context reports them
// itself (debug output), only takes them. `afterLoaderInit` is true right after the entry points
// were loaded, whose probing may leave an error that is not the library's: it is dropped.
void CheckGLErrors(bool afterLoaderInit);

// Routes the current context's debug output to the trace, synchronously, so a message names the
// call that caused it. Does nothing while the category is off or the driver has no debug output.
void SetGLDebugOutput(bool enable);

}  // namespace STN
