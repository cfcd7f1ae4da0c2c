package com.zelvox.qorbetta;

/**
 * What a description accepts: names and texts that an XML file can hold, finite numbers. Each
 * method answers what it was given, or throws an {@link IllegalArgumentException} whose message
 * says what is wrong with it and begins with {@code what}.
 */
final class Checked {
    private Checked() {
    }

    static String name(String what, String name) {
        if (name == null || name.isEmpty()) {
            throw new IllegalArgumentException(what + " has no name");
        }
        if (!isText(name, "") || !name.trim().equals(name)) {
            throw new IllegalArgumentException(what + " is called '" + name
                    + "', expected a name without control characters and without blanks around it");
        }
        return name;
    }

    static String text(String what, String text) {
        if (text == null || !isText(text, "\n\t")) {
            throw new IllegalArgumentException(what + " is "
                    + (text == null ? "null" : "'" + text + "'")
                    + ", expected a text without control characters");
        }
        return text;
    }

    static double finite(String what, double value) {
        if (Double.isNaN(value) || Double.isInfinite(value)) {
            throw new IllegalArgumentException(what + " is " + value
                    + ", expected a finite number");
        }
        return value;
    }

    static double positive(String what, double value) {
        if (finite(what, value) <= 0) {
            throw new IllegalArgumentException(what + " is " + value + ", expected more than 0");
        }
        return value;
    }

    /** Whether every character may stand in the XML file that tools make of the description. */
    private static boolean isText(String text, String legalControls) {
        for (int i = 0; i < text.length(); ) {
            int c = text.codePointAt(i);
            boolean legal = legalControls.indexOf(c) >= 0
                    || !Character.isISOControl(c) && Character.getType(c) != Character.SURROGATE
                    && c != 0xFFFE && c != 0xFFFF;
            if (!legal) {
                return false;
            }
            i += Character.charCount(c);
        }
        return true;
    }
}
