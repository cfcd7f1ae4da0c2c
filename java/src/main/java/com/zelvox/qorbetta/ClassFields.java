package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/**
 * What a class itself says about the variables of its objects: read once, as every run makes a new
 * object. Java reads annotations anew whenever it is asked.
 */
final class ClassFields {
    private static final ClassValue<ClassFields> READ = new ClassValue<ClassFields>() {
        @Override
        protected ClassFields computeValue(Class<?> type) {
            return new ClassFields(type);
        }
    };

    final UnitDefinition[] units;
    /** Those with a variable, and those that may hold an object with some, which are accessible. */
    final List<Field> fields = new ArrayList<>();
    /** One for each field; null for a field that is no variable. */
    final List<Declaration> declarations = new ArrayList<>();
    boolean hasVariables;
    /** Why the fields could not be found; null when they were. */
    final LinkageError unreadable;

    private ClassFields(Class<?> type) {
        units = type.getAnnotationsByType(UnitDefinition.class);
        List<Field> declared = Collections.emptyList();
        LinkageError missing = null;
        try {
            // In the order of declaration, as HotSpot answers them, which Java itself leaves open.
            declared = Arrays.asList(type.getDeclaredFields());
        } catch (LinkageError e) {
            missing = e; // a library's class that needs another one which is not there
        }
        unreadable = missing;
        for (Field field : declared) {
            try {
                add(field, Declaration.of(field));
            } catch (IllegalArgumentException e) {
                throw new IllegalArgumentException(
                        VariableField.nameOf(field) + " " + e.getMessage());
            }
        }
    }

    private void add(Field field, Declaration declaration) {
        if (declaration != null || mayHoldPart(field)) {
            try {
                field.setAccessible(true);
            } catch (RuntimeException e) { // of Java 9 and later: a module may be closed to us
                if (declaration == null) {
                    return;
                }
                throw e;
            }
            fields.add(field);
            declarations.add(declaration);
            hasVariables |= declaration != null;
        }
    }

    /** Without those of the classes that it extends. */
    static ClassFields of(Class<?> type) {
        return READ.get(type);
    }

    /** Whether a class, or the lack of one, is where ours end. */
    static boolean isOfJava(Class<?> type) {
        return type == null || type.getClassLoader() == null;
    }

    private static boolean mayHoldPart(Field field) {
        int modifiers = field.getModifiers();
        // The compiler's own fields lead from an inner object back to the outer one.
        return !Modifier.isStatic(modifiers) && !Modifier.isTransient(modifiers)
                && !field.isSynthetic() && !field.getType().isPrimitive();
    }
}
