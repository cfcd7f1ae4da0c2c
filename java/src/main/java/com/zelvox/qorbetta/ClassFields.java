package com.zelvox.qorbetta;

import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;

/**
 * What a class and those that it extends, which come first, say about the variables of their
 * objects: read once, as every run makes a new object. Java reads annotations anew whenever it is
 * asked.
 */
final class ClassFields {
    private static final ClassValue<ClassFields> READ = new ClassValue<ClassFields>() {
        @Override
        protected ClassFields computeValue(Class<?> type) {
            return new ClassFields(type);
        }
    };

    /** The definitions of units, each with the class that has it. */
    final Map<UnitDefinition, Class<?>> units = new LinkedHashMap<>();
    /**
     * The fields with a variable, each with one that has all but its name and, unless the
     * annotation gives it, its start, which is NaN then; and those that may hold an object with
     * some, which have null here. All are accessible.
     */
    final Map<Field, Variable> fields = new LinkedHashMap<>();
    /** Why not all fields could be found; null when they were. */
    LinkageError unreadable;

    private ClassFields(Class<?> type) {
        if (!isOfJava(type.getSuperclass())) {
            ClassFields inherited = of(type.getSuperclass());
            units.putAll(inherited.units);
            fields.putAll(inherited.fields);
            unreadable = inherited.unreadable;
        }
        for (UnitDefinition unit : type.getAnnotationsByType(UnitDefinition.class)) {
            units.putIfAbsent(unit, type);
        }
        try {
            // In the order of declaration, as HotSpot answers them, which Java itself leaves open.
            for (Field field : type.getDeclaredFields()) {
                add(field, declaration(field));
            }
        } catch (LinkageError e) {
            unreadable = e; // a library's class that needs another one which is not there
        }
    }

    private void add(Field field, Variable declaration) {
        if (declaration == null && !mayHoldPart(field)) {
            return;
        }
        try {
            field.setAccessible(true);
            fields.put(field, declaration);
        } catch (RuntimeException e) { // of Java 9 and later: a module may be closed to us
            if (declaration != null) {
                throw e;
            }
        }
    }

    /**
     * What the annotation of a field says; null for a field that is no variable.
     *
     * @throws IllegalArgumentException with a sentence when the field cannot be one
     */
    private static Variable declaration(Field field) {
        List<Variable> found = new ArrayList<>();
        Input input = field.getAnnotation(Input.class);
        if (input != null) {
            found.add(new Variable(Variable.Kind.INPUT, "", input.unit(), input.displayUnit(),
                    input.description(), input.start(), input.min(), input.max(),
                    input.nominal()));
        }
        Output output = field.getAnnotation(Output.class);
        if (output != null) {
            found.add(new Variable(Variable.Kind.OUTPUT, "", output.unit(), output.displayUnit(),
                    output.description(), output.start(), output.min(), output.max(),
                    output.nominal()));
        }
        Parameter parameter = field.getAnnotation(Parameter.class);
        if (parameter != null) {
            found.add(new Variable(Variable.Kind.PARAMETER, "", parameter.unit(),
                    parameter.displayUnit(), parameter.description(), parameter.start(),
                    parameter.min(), parameter.max(), parameter.nominal()));
        }
        if (found.isEmpty()) {
            return null;
        }
        String fault = fault(field, found.size());
        if (!fault.isEmpty()) {
            throw new IllegalArgumentException(VariableField.nameOf(field) + " " + fault);
        }
        return found.get(0);
    }

    private static String fault(Field field, int annotations) {
        boolean isNumber = field.getType() == double.class;
        if (annotations > 1) {
            return "has " + annotations
                    + " of the annotations @Input, @Output and @Parameter, expected one";
        }
        if (!isNumber && field.getType() != double[].class) {
            return "is of the type " + field.getType().getTypeName()
                    + ", expected double or double[]";
        }
        if (Modifier.isStatic(field.getModifiers())) {
            return "is static, expected a field of each object";
        }
        return isNumber && Modifier.isFinal(field.getModifiers())
                ? "is final, expected a field that can change" : "";
    }

    static ClassFields of(Class<?> type) {
        return READ.get(type);
    }

    boolean hasVariables() {
        return fields.values().stream().anyMatch(Objects::nonNull);
    }

    /** Whether a class is one of the JDK, whose fields are not looked at, or there is none. */
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
