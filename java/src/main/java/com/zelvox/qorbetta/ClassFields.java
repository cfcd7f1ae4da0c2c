package com.zelvox.qorbetta;

import java.lang.reflect.Field;

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
    /** In the order of declaration, as HotSpot answers them, which Java itself leaves open. */
    final Field[] fields;
    /** One for each field; null for a field that is no variable. */
    final Declaration[] declarations;

    private ClassFields(Class<?> type) {
        units = type.getAnnotationsByType(UnitDefinition.class);
        fields = type.getDeclaredFields();
        declarations = new Declaration[fields.length];
        for (int i = 0; i < fields.length; i++) {
            try {
                declarations[i] = Declaration.of(fields[i]);
            } catch (IllegalArgumentException e) {
                throw new IllegalArgumentException(
                        VariableField.nameOf(fields[i]) + " " + e.getMessage());
            }
        }
    }

    /** Without those of the classes that it extends. */
    static ClassFields of(Class<?> type) {
        return READ.get(type);
    }
}
