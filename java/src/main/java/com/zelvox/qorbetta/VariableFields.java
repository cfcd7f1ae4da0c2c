package com.zelvox.qorbetta;

import java.util.List;

/** The fields that are the variables of one model object, and the way of all their values. */
final class VariableFields {
    final ModelDescription description;
    private final VariableField[] inputs;
    private final VariableField[] outputs;
    private final VariableField[] parameters; // one for each parameter
    private final PartField[] parts;

    VariableFields(ModelDescription description, List<VariableField> inputs,
            List<VariableField> outputs, List<VariableField> parameters, List<PartField> parts) {
        this.description = description;
        this.inputs = inputs.toArray(new VariableField[0]);
        this.outputs = outputs.toArray(new VariableField[0]);
        this.parameters = parameters.toArray(new VariableField[0]);
        this.parts = parts.toArray(new PartField[0]);
    }

    void setInputs(double[] values) throws IllegalAccessException {
        checkParts();
        for (VariableField field : inputs) {
            field.setFrom(values);
        }
    }

    void getOutputs(double[] values) throws IllegalAccessException {
        checkParts();
        for (VariableField field : outputs) {
            field.getInto(values);
        }
    }

    void setParameter(int index, double value) {
        try {
            checkParts();
            parameters[index].set(index, value);
        } catch (IllegalAccessException e) {
            throw new AssertionError(e); // the reader made all fields accessible
        }
    }

    private void checkParts() throws IllegalAccessException {
        for (PartField part : parts) {
            part.check();
        }
    }
}
