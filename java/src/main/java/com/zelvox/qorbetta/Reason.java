package com.zelvox.qorbetta;

/** What an exception says to the importer's user, who may be no programmer. */
final class Reason {
    private Reason() {
    }

    /**
     * The message of an exception, or its class when it has none. Errors need more than that: what
     * a missing class has to say is its name, and what fails in a static initializer is a cause.
     * What Java throws for a slip of the author, an index out of bounds, tells its class and place.
     */
    static String of(Throwable e) {
        if (e instanceof LinkageError) {
            boolean bare = e.getMessage() == null && e.getCause() != null;
            return e + (bare ? ": " + of(e.getCause()) : "");
        }
        boolean slip = e instanceof RuntimeException && e.getClass().getClassLoader() == null
                && e.getClass() != IllegalStateException.class
                && e.getClass() != IllegalArgumentException.class;
        return slip || e.getMessage() == null ? e + place(e) : e.getMessage();
    }

    /** Where the model's own code was, if it was anywhere. */
    private static String place(Throwable e) {
        for (StackTraceElement frame : e.getStackTrace()) {
            String name = frame.getClassName();
            if (name.startsWith("com.zelvox.qorbetta.")) {
                break; // the frames of the model come before ours, which called it
            }
            if (!name.matches("(javax?|jdk|sun)\\..*")) {
                return " at " + frame;
            }
        }
        return "";
    }
}
