package com.zelvox.qorbetta;

/**
 * The life of one instance: its model object and the order of its calls.
 *
 * <p>The model and the {@link Values} agree at all times but one: a parameter that the model
 * refuses stays there as the importer set it, and the next initialization or step fails.
 *
 * <p>A reset of the importer is not heard of here. It shows in the next {@link #setUp}, which
 * therefore always begins with values as a new run has them: those that were set since the last
 * event of the old run, and start values for the rest. Nothing changes by that before the first
 * run.
 *
 * <p>Every failure is an {@link IllegalStateException} whose message is the sentence for the
 * importer.
 */
final class Instance {
    private enum Phase { PREPARED, RUNNING, OVER }

    final String numberOfReals;
    final String numberOfInputs;
    final String numberOfOutputs;

    final String name;
    private final ModelSource source;
    private final ModelDescription description;
    private final Values values;

    private Model model;
    private boolean modelUsed; // it has begun a run and cannot begin another
    private boolean modelSetUp;
    private boolean begun;
    private Phase phase = Phase.PREPARED;
    private boolean stepped;
    private double startTime = 0;
    private double stopTime = Double.NaN;
    private double nextTime;
    private String refusal; // what a set call could not say; null for nothing

    /**
     * Begins an instance with a model of its own, which has taken the start values of its
     * parameters.
     */
    static Instance begin(String name, String resourceLocation) {
        ModelSource source;
        try {
            source = ModelSource.find(resourceLocation);
        } catch (Throwable e) {
            throw new IllegalStateException("instance '" + name + "': no model: " + Reason.of(e));
        }
        try {
            return new Instance(name, source);
        } catch (Throwable e) {
            source.release();
            throw e;
        }
    }

    private Instance(String name, ModelSource source) {
        this.name = name;
        this.source = source;
        model = newModel();
        description = describe();
        values = new Values(description);
        numberOfReals = Integer.toString(values.size());
        numberOfInputs = Integer.toString(description.inputs().size());
        numberOfOutputs = Integer.toString(description.outputs().size());
        handOverParameters();
        if (refusal != null) {
            freeQuietly(model);
            throwRefusal();
        }
    }

    /** Whether the importer has set up an experiment, or gone on without one. */
    boolean hasBegun() {
        return begun;
    }

    void setUp(double start, double stop) {
        begun = true;
        values.startAnew();
        stepped = false;
        phase = Phase.PREPARED;
        startTime = start;
        stopTime = stop;
        modelSetUp = false;
        prepareModel();
    }

    void set(int reference, double value) {
        if (reference < 0 || reference >= values.size()) {
            refuse("there is no value reference " + Integer.toUnsignedString(reference)
                    + ", expected one below " + values.size());
            return;
        }
        values.set(reference, value);
        // A model whose run is over gets no more calls; the value waits for the next run's model.
        if (values.parameterAt(reference) >= 0 && phase != Phase.OVER) {
            handOver(values.parameterAt(reference), value);
        }
    }

    void initialize() {
        if (phase != Phase.PREPARED) {
            throw outOfOrder("initialized a second time, expected a reset and an experiment setup"
                    + " before");
        }
        begun = true;
        prepareModel();
        modelUsed = true;
        values.markEvent();
        throwRefusal();
        try {
            model.initialize(values.inputs(), values.outputs());
        } catch (Throwable e) {
            throw failure("the model cannot be initialized at time " + startTime + ": "
                    + Reason.of(e));
        }
        phase = Phase.RUNNING;
        nextTime = startTime;
    }

    void step(double time, double stepSize, double[] inputs) {
        if (phase != Phase.RUNNING) {
            throw outOfOrder("step at time " + time + (phase == Phase.OVER
                    ? " after the end of the run, expected a reset before"
                    : " before the initialization, expected the initialization first"));
        }
        if (!(stepSize > 0 && stepSize < Double.POSITIVE_INFINITY)) {
            throw failure("step size " + stepSize + " at time " + time
                    + ", expected a finite one above 0");
        }
        if (!continues(time, stepSize)) {
            throw outOfOrder("step at time " + time + ", expected one at time " + nextTime
                    + (stepped ? ", where the last step ended" : ", where the run starts"));
        }
        if (inputs.length != description.inputs().size()) {
            throw failure("step at time " + time + " with " + inputs.length + " inputs, expected "
                    + description.inputs().size() + ": " + description.inputs());
        }
        values.markEvent();
        phase = Phase.OVER; // unless this step succeeds
        throwRefusal();
        try {
            model.step(time, stepSize, inputs, values.outputs());
        } catch (Throwable e) {
            throw failure("the model cannot step from time " + time + " by " + stepSize + ": "
                    + Reason.of(e));
        }
        phase = Phase.RUNNING;
        stepped = true;
        nextTime = time + stepSize;
    }

    /**
     * What the importer's values are to become: all of them until the first step has been made, so
     * that start values reach it, and the outputs from then on. The arrays are this object's own.
     */
    double[] data() {
        return stepped ? values.outputs() : values.all();
    }

    void terminate() {
        if (phase == Phase.RUNNING) {
            values.markEvent();
            phase = Phase.OVER;
            try {
                model.terminate();
            } catch (Throwable e) {
                throw failure("the model cannot be terminated at time " + nextTime + ": "
                        + Reason.of(e));
            }
        }
    }

    void free() {
        try {
            model.free();
        } catch (Throwable e) {
            throw failure("the model cannot be freed: " + Reason.of(e));
        } finally {
            source.release();
        }
    }

    private Model newModel() {
        try {
            return source.newModel();
        } catch (Throwable e) {
            throw failure("the model cannot be constructed: " + Reason.of(e));
        }
    }

    private ModelDescription describe() {
        try {
            ModelDescription answer = model.describe();
            if (answer == null) {
                throw new IllegalStateException("it answers null, expected a description");
            }
            return answer;
        } catch (Throwable e) {
            freeQuietly(model);
            throw failure("the model cannot be described: " + Reason.of(e));
        }
    }

    /** Makes sure that a model object stands ready that knows the parameters and the experiment. */
    private void prepareModel() {
        if (modelUsed) {
            Model old = model;
            model = newModel();
            modelUsed = false;
            modelSetUp = false;
            refusal = null; // the new model is asked anew
            values.startOutputs();
            handOverParameters();
            freeQuietly(old);
        }
        if (!modelSetUp) {
            try {
                model.setUp(startTime, stopTime);
            } catch (Throwable e) {
                modelUsed = true;
                throw failure("the model cannot be set up at time " + startTime + ": "
                        + Reason.of(e));
            }
            modelSetUp = true;
        }
    }

    /** Whether a step begins where the last one ended, but for rounding. */
    private boolean continues(double time, double stepSize) {
        double gap = Math.abs(time - nextTime);
        return gap <= 1e-6 * stepSize
                || gap <= 4 * Math.ulp(Math.min(Math.abs(time), Math.abs(nextTime)));
    }

    private void handOverParameters() {
        for (int i = 0; i < description.parameters().size(); i++) {
            handOver(i, values.parameter(i));
        }
    }

    private void handOver(int parameter, double value) {
        Variable variable = description.parameters().get(parameter);
        if (!(value >= variable.min() && value <= variable.max())) {
            refuse("parameter " + variable + " cannot be " + value
                    + ", expected " + variable.min() + " to " + variable.max());
            return;
        }
        try {
            model.set(parameter, value);
        } catch (Throwable e) {
            refuse("parameter " + variable + " cannot be " + value + ": " + Reason.of(e));
        }
    }

    /**
     * Keeps a sentence until there is a call that can fail with it; the first one tells the most.
     */
    private void refuse(String sentence) {
        if (refusal == null) {
            refusal = "instance '" + name + "': " + sentence;
        }
    }

    private void throwRefusal() {
        if (refusal != null) {
            throw new IllegalStateException(refusal);
        }
    }

    /**
     * Frees a model of which nobody expects anything any more, so that its complaint would mislead.
     */
    private static void freeQuietly(Model model) {
        try {
            model.free();
        } catch (Throwable e) {
            // What the caller reports, or the new run, does not depend on it.
        }
    }

    /**
     * A call at the wrong moment: the importer's fault, or one of two importers that mean each
     * other.
     */
    private IllegalStateException outOfOrder(String sentence) {
        return failure(sentence + " (do two instances share this name?)");
    }

    private IllegalStateException failure(String sentence) {
        return new IllegalStateException("instance '" + name + "': " + sentence);
    }
}
